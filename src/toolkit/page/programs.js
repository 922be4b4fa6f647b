// The shaders. Points reach them as ways from the eye: near it they keep their precision however far one zooms in.

const shaderHead = '#version 300 es\nprecision highp float;\n';

// Normals are those of the triangles as they lie: nothing is smoothed over.
const surfaceVertexShader = `
in vec3 point;
uniform vec3 eye;
uniform mat4 view;
uniform float lift;  // share of the way to the eye
out vec3 way;
void main() {
    way = (point - eye) * (1.0 - lift);
    gl_Position = view * vec4(way, 1.0);
}`;

const surfaceFragmentShader = `
in vec3 way;
uniform vec3 frontColor, backColor;  // linear light
uniform vec3 lamp, sky;              // unit ways to where light comes from
uniform float glow;                  // 0 shaded in full, 1 not at all
uniform float opacity;
out vec4 color;
void main() {
    vec3 across = cross(dFdx(way), dFdy(way));
    float size = length(across);
    vec3 toEye = -normalize(way);
    vec3 normal = size > 0.0 ? across / size : toEye;
    normal *= dot(normal, toEye) < 0.0 ? -1.0 : 1.0;
    float light = 0.11 + 0.70 * max(dot(normal, lamp), 0.0) + 0.24 * (0.5 + 0.5 * dot(normal, sky)) +
        0.14 * max(dot(normal, toEye), 0.0);
    vec3 shaded = (gl_FrontFacing ? frontColor : backColor) * mix(light, 1.0, glow);
    color = vec4(pow(min(shaded, 1.0), vec3(1.0 / 2.2)) * opacity, opacity);
}`;

// Segments as rectangles, some pixels wide; those without length are squares.
const segmentVertexShader = `
in vec3 start, end;
in vec2 corner;  // 0 start, 1 end; -1 and 1 the sides
uniform vec3 eye;
uniform mat4 view;
uniform float lift;
uniform vec2 viewport;  // pixels
uniform float width;
void main() {
    vec4 a = view * vec4((start - eye) * (1.0 - lift), 1.0);
    vec4 b = view * vec4((end - eye) * (1.0 - lift), 1.0);
    float nearest = 1e-6;
    if (a.w < nearest && b.w < nearest) {
        gl_Position = vec4(2.0, 2.0, 2.0, 1.0);
        return;
    }
    if (a.w < nearest)
        a = mix(a, b, (nearest - a.w) / (b.w - a.w));
    else if (b.w < nearest)
        b = mix(b, a, (nearest - b.w) / (a.w - b.w));
    vec2 along = (b.xy / b.w - a.xy / a.w) * viewport;
    float size = length(along);
    along = size > 0.0 ? along / size : vec2(1.0, 0.0);
    vec2 offset = vec2(-along.y, along.x) * corner.y + along * (2.0 * corner.x - 1.0);
    gl_Position = corner.x < 0.5 ? a : b;
    gl_Position.xy += offset * width / viewport * gl_Position.w;
}`;

const plainFragmentShader = `
uniform vec4 paint;  // premultiplied
out vec4 color;
void main() {
    color = paint;
}`;

const lineVertexShader = `
in vec3 point;
uniform vec3 eye;
uniform mat4 view;
uniform float lift;
void main() {
    gl_Position = view * vec4((point - eye) * (1.0 - lift), 1.0);
}`;

const dotVertexShader = `
in vec3 point;
uniform vec3 eye;
uniform mat4 view;
uniform float lift, size;
void main() {
    gl_Position = view * vec4((point - eye) * (1.0 - lift), 1.0);
    gl_PointSize = size;
}`;

const dotFragmentShader = `
uniform vec4 paint, rim;  // premultiplied
uniform float size;
out vec4 color;
void main() {
    float radius = length(gl_PointCoord - 0.5) * size;
    float cover = clamp(0.5 * size - radius, 0.0, 1.0);
    color = mix(paint, rim, clamp(radius - 0.5 * size + 2.5, 0.0, 1.0)) * cover;
}`;

/** A program with its uniforms; `attributes` are bound to 0, 1, 2 in their order. Throws with the compiler's words. */
class Program {
    constructor(gl, vertexShader, fragmentShader, attributes) {
        this.gl = gl;
        this.handle = gl.createProgram();
        this.#attach(gl.VERTEX_SHADER, vertexShader);
        this.#attach(gl.FRAGMENT_SHADER, fragmentShader);
        attributes.forEach((name, i) => gl.bindAttribLocation(this.handle, i, name));
        gl.linkProgram(this.handle);
        if (!gl.getProgramParameter(this.handle, gl.LINK_STATUS) && !gl.isContextLost())
            throw new Error(`shaders: ${gl.getProgramInfoLog(this.handle)}`);
        this.uniforms = new Map();
    }

    #attach(kind, source) {
        const shader = this.gl.createShader(kind);
        this.gl.shaderSource(shader, shaderHead + source);
        this.gl.compileShader(shader);
        this.gl.attachShader(this.handle, shader);
    }

    /** Makes it current, with these uniforms: numbers, and arrays of 2, 3, 4 or 16. */
    use(values) {
        const { gl } = this;
        gl.useProgram(this.handle);
        for (const [name, value] of Object.entries(values)) {
            if (!this.uniforms.has(name))
                this.uniforms.set(name, gl.getUniformLocation(this.handle, name));
            const place = this.uniforms.get(name);
            if (typeof value === 'number')
                gl.uniform1f(place, value);
            else if (value.length === 16)
                gl.uniformMatrix4fv(place, false, value);
            else
                gl[`uniform${value.length}fv`](place, value);
        }
    }
}
