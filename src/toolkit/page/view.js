// Draws surfaces and what is lit on them, with WebGL 2.

/** A colour of a style sheet, "#rrggbb", as three channels of light. */
const linearColor = hex => [1, 3, 5].map(i => (parseInt(hex.slice(i, i + 2), 16) / 255) ** 2.2);
const paintOf = (hex, opacity = 1) => [1, 3, 5].map(i => parseInt(hex.slice(i, i + 2), 16) / 255 * opacity).concat(opacity);

const lifts = { surface: 0, triangles: 0.0006, edges: 0.0006, segments: 0.0015, points: 0.002, outline: 0.003 };

class View {
    #buffers = new Map();  // of surfaces, and of what is lit on them

    /** Throws where there is no WebGL 2. */
    constructor(canvas) {
        this.canvas = canvas;
        this.gl = canvas.getContext('webgl2', { antialias: true, alpha: false, powerPreference: 'high-performance' });
        if (!this.gl)
            throw new Error('no WebGL 2');
        this.#start();
    }

    #start() {
        const { gl } = this;
        this.#buffers.clear();
        this.surfaceProgram = new Program(gl, surfaceVertexShader, surfaceFragmentShader, ['point']);
        this.lineProgram = new Program(gl, lineVertexShader, plainFragmentShader, ['point']);
        this.segmentProgram = new Program(gl, segmentVertexShader, plainFragmentShader, ['start', 'end', 'corner']);
        this.dotProgram = new Program(gl, dotVertexShader, dotFragmentShader, ['point']);
        this.cornerBuffer = this.#upload(gl.ARRAY_BUFFER, new Float32Array([0, -1, 1, -1, 0, 1, 1, 1]));
        gl.blendFunc(gl.ONE, gl.ONE_MINUS_SRC_ALPHA);
        gl.enable(gl.DEPTH_TEST);
    }

    /** After the browser took the context away and gave it back. */
    restart() { this.#start(); }

    #upload(target, data) {
        const buffer = this.gl.createBuffer();
        this.gl.bindBuffer(target, buffer);
        this.gl.bufferData(target, data, this.gl.STATIC_DRAW);
        return buffer;
    }

    #attribute(index, buffer, size, stride = 0, offset = 0, divisor = 0) {
        const { gl } = this;
        gl.bindBuffer(gl.ARRAY_BUFFER, buffer);
        gl.enableVertexAttribArray(index);
        gl.vertexAttribPointer(index, size, gl.FLOAT, false, stride, offset);
        gl.vertexAttribDivisor(index, divisor);
    }

    #array(build) {
        const array = this.gl.createVertexArray();
        this.gl.bindVertexArray(array);
        build();
        this.gl.bindVertexArray(null);
        return array;
    }

    #remembered(key, build) {
        if (!this.#buffers.has(key))
            this.#buffers.set(key, build());
        return this.#buffers.get(key);
    }

    #surfaceBuffers(surface) {
        const { gl } = this;
        return this.#remembered(surface, () => {
            const points = this.#upload(gl.ARRAY_BUFFER, surface.points);
            const triangles = this.#array(() => {
                this.#attribute(0, points, 3);
                this.#upload(gl.ELEMENT_ARRAY_BUFFER, surface.corners);
            });
            return { points, triangles, edges: null, edgeLength: 0 };
        });
    }

    /** Every edge of every triangle: those of two triangles twice, which costs less than sorting. */
    #edgeArray(surface) {
        const buffers = this.#surfaceBuffers(surface);
        if (buffers.edges === null) {
            const { corners } = surface, ends = new Uint32Array(2 * corners.length);
            for (let i = 0; i < corners.length; ++i) {
                ends[2 * i] = corners[i];
                ends[2 * i + 1] = corners[i % 3 === 2 ? i - 2 : i + 1];
            }
            const sampled = Math.max(1, Math.floor(corners.length / 3000));
            let sum = 0, count = 0;
            for (let i = 0; i < corners.length; i += sampled, ++count)
                sum += lengthOf(minus(surface.point(ends[2 * i]), surface.point(ends[2 * i + 1])));
            buffers.edgeLength = sum / Math.max(count, 1);
            buffers.edges = this.#array(() => {
                this.#attribute(0, buffers.points, 3);
                this.#upload(this.gl.ELEMENT_ARRAY_BUFFER, ends);
            });
        }
        return buffers;
    }

    #litBuffers(surface, lit) {
        const { gl } = this;
        return this.#remembered(lit, () => ({
            triangles: this.#array(() => {
                this.#attribute(0, this.#surfaceBuffers(surface).points, 3);
                this.#upload(gl.ELEMENT_ARRAY_BUFFER, lit.corners);
            }),
            segments: this.#array(() => {
                const ends = this.#upload(gl.ARRAY_BUFFER, lit.segments);
                this.#attribute(0, ends, 3, 24, 0, 1);
                this.#attribute(1, ends, 3, 24, 12, 1);
                this.#attribute(2, this.cornerBuffer, 2);
            }),
            points: this.#array(() => this.#attribute(0, this.#upload(gl.ARRAY_BUFFER, lit.points), 3)),
        }));
    }

    /**
     * Draws a picture.
     *
     * scene.camera
     * scene.sides     {surface, from, to: shares of the width, lit: [{elements, color, lineWidth, dotSize, isOutline, opacity}]}
     * scene.colors    of the style sheet: ground, surface, back, edge
     * scene.showsEdges, scene.tintsBacks
     */
    draw(scene) {
        const { gl, canvas } = this;
        const ratio = Math.min(window.devicePixelRatio || 1, 2);
        const width = Math.max(1, Math.round(scene.camera.width * ratio));
        const height = Math.max(1, Math.round(scene.camera.height * ratio));
        if (canvas.width !== width || canvas.height !== height) {
            canvas.width = width;
            canvas.height = height;
        }
        gl.viewport(0, 0, width, height);
        gl.disable(gl.SCISSOR_TEST);
        const [r, g, b] = paintOf(scene.colors.ground);
        gl.clearColor(r, g, b, 1);
        gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
        gl.enable(gl.SCISSOR_TEST);
        const place = this.#placeOf(scene.camera, width, height, ratio);
        for (const side of scene.sides) {
            const left = Math.round(side.from * width);
            gl.scissor(left, 0, Math.round(side.to * width) - left, height);
            this.#drawSide(scene, side, place);
        }
    }

    #placeOf(camera, width, height, ratio) {
        const { right, up, forward, eye } = camera.axes();
        const lamp = unit(plus(plus(times(right, -0.45), times(up, 0.65)), times(forward, -0.75)));
        return { shared: { eye, view: camera.matrix() }, lights: { lamp, sky: up }, viewport: [width, height], ratio };
    }

    #drawSide(scene, side, place) {
        const { gl } = this;
        gl.disable(gl.BLEND);
        gl.depthMask(true);
        gl.depthFunc(gl.LESS);
        this.#drawSurface(scene, side.surface, place);
        if (scene.showsEdges)
            this.#drawEdges(scene, side.surface, place);
        gl.enable(gl.BLEND);
        gl.depthFunc(gl.GREATER);  // first what lies behind the surface, faintly
        gl.depthMask(false);
        side.lit.forEach(lit => this.#drawLit(scene, side.surface, lit, place, 0.3 * (lit.opacity ?? 1)));
        gl.depthFunc(gl.LEQUAL);
        gl.depthMask(true);
        side.lit.forEach(lit => this.#drawLit(scene, side.surface, lit, place, lit.opacity ?? 1));
    }

    #drawSurface(scene, surface, { shared, lights }) {
        const { gl } = this;
        const frontColor = linearColor(scene.colors.surface);
        const backColor = scene.tintsBacks ? linearColor(scene.colors.back) : frontColor;
        this.surfaceProgram.use({ ...shared, ...lights, frontColor, backColor, lift: lifts.surface, glow: 0, opacity: 1 });
        gl.bindVertexArray(this.#surfaceBuffers(surface).triangles);
        gl.drawElements(gl.TRIANGLES, surface.corners.length, gl.UNSIGNED_INT, 0);
    }

    #drawEdges(scene, surface, { shared, ratio }) {
        const { gl } = this;
        const { edges, edgeLength } = this.#edgeArray(surface);
        const pixels = edgeLength * (scene.camera.project(scene.camera.target)?.pixelsPerUnit ?? 0) * ratio;
        const opacity = clamp(pixels / 16, 0.06, 0.6);
        gl.enable(gl.BLEND);
        gl.depthMask(false);
        this.lineProgram.use({ ...shared, lift: lifts.edges, paint: paintOf(scene.colors.edge, opacity) });
        gl.bindVertexArray(edges);
        gl.drawElements(gl.LINES, 2 * surface.corners.length, gl.UNSIGNED_INT, 0);
    }

    #drawLit(scene, surface, lit, { shared, lights, viewport, ratio }, opacity) {
        const { gl } = this;
        const { elements } = lit, buffers = this.#litBuffers(surface, elements);
        if (elements.corners.length > 0 && !lit.isOutline) {
            const color = linearColor(lit.color), darker = times(color, 0.7);
            this.surfaceProgram.use({ ...shared, ...lights, frontColor: color, backColor: darker, lift: lifts.triangles,
                glow: 0.45, opacity });
            gl.bindVertexArray(buffers.triangles);
            gl.drawElements(gl.TRIANGLES, elements.corners.length, gl.UNSIGNED_INT, 0);
        }
        const paint = paintOf(lit.color, opacity);
        if (elements.segments.length > 0) {
            const lift = lit.isOutline ? lifts.outline : lifts.segments;
            this.segmentProgram.use({ ...shared, lift, viewport, width: lit.lineWidth * ratio, paint });
            gl.bindVertexArray(buffers.segments);
            gl.drawArraysInstanced(gl.TRIANGLE_STRIP, 0, 4, elements.segments.length / 6);
        }
        if (elements.points.length > 0) {
            const seen = Math.max(opacity, 0.6);  // small as they are
            this.dotProgram.use({ ...shared, lift: lifts.points, size: lit.dotSize * ratio,
                paint: paintOf(lit.color, seen), rim: paintOf(scene.colors.ground, seen) });
            gl.bindVertexArray(buffers.points);
            gl.drawArrays(gl.POINTS, 0, elements.points.length / 3);
        }
    }
}
