// A camera that turns about a target, its up axis staying upright; and its flights.

const fieldOfView = 30 * Math.PI / 180;  // across the shorter side
const flightTime = 600;                  // milliseconds

class Camera {
    target = [0, 0, 0];
    distance = 4;
    azimuth = 30 * Math.PI / 180;
    elevation = 20 * Math.PI / 180;
    upAxis = 'y';
    width = 1;
    height = 1;
    #flight = null;

    /** The same camera, standing elsewhere. */
    with(changes) { return Object.assign(new Camera(), this, changes); }

    /** Turns a way of a world whose y axis is up into the mesh's. */
    #upright([x, y, z]) { return this.upAxis === 'y' ? [x, y, z] : [x, -z, y]; }

    /** Unit ways to the picture's right, its top, and away from the eye; and the eye. */
    axes() {
        const [sinA, cosA] = [Math.sin(this.azimuth), Math.cos(this.azimuth)];
        const [sinE, cosE] = [Math.sin(this.elevation), Math.cos(this.elevation)];
        const back = this.#upright([sinA * cosE, sinE, cosA * cosE]);
        const right = this.#upright([cosA, 0, -sinA]);
        return {
            right,
            up: cross(back, right),
            forward: times(back, -1),
            eye: plus(this.target, times(back, this.distance)),
        };
    }

    /** Looks against a way: the azimuth and elevation from which it comes. */
    anglesOf(way) {
        const [x, y, z] = this.upAxis === 'y' ? way : [way[0], way[2], -way[1]];
        const isSteep = Math.hypot(x, z) < 1e-6;
        return { azimuth: isSteep ? this.azimuth : Math.atan2(x, z), elevation: Math.asin(clamp(y, -1, 1)) };
    }

    /** What a half picture's width and height are at depth 1. */
    spans() {
        const half = Math.tan(fieldOfView / 2), shorter = Math.min(this.width, this.height);
        return [half * this.width / shorter, half * this.height / shorter];
    }

    /** For ways from the eye, in the order WebGL takes. Everything in the unit ball is in front of the far plane. */
    matrix() {
        const { right, up, forward, eye } = this.axes();
        const [spanX, spanY] = this.spans();
        const depth = -dot(forward, eye);
        const near = Math.max(depth - 1.1, 0.01 * this.distance);
        const far = Math.max(depth + 1.1, 2 * near);
        const slope = (far + near) / (far - near), shift = -2 * far * near / (far - near);
        return new Float32Array([0, 1, 2].flatMap(i =>
            [right[i] / spanX, up[i] / spanY, slope * forward[i], forward[i]]).concat([0, 0, shift, 0]));
    }

    /** Where a point is, in pixels of the page from the picture's upper left corner; null: behind the eye. */
    project(point) {
        const { right, up, forward, eye } = this.axes();
        const [spanX, spanY] = this.spans();
        const way = minus(point, eye), depth = dot(way, forward);
        if (depth <= 0)
            return null;
        return {
            x: (1 + dot(way, right) / (depth * spanX)) * this.width / 2,
            y: (1 - dot(way, up) / (depth * spanY)) * this.height / 2,
            pixelsPerUnit: this.width / (2 * spanX * depth),
        };
    }

    /** The ray through a pixel; its way has depth 1. */
    ray(x, y) {
        const { right, up, forward, eye } = this.axes();
        const [spanX, spanY] = this.spans();
        const across = times(right, (2 * x / this.width - 1) * spanX);
        const upward = times(up, (1 - 2 * y / this.height) * spanY);
        return { origin: eye, way: plus(plus(across, upward), forward) };
    }

    get isFlying() { return this.#flight !== null; }

    turn(dx, dy) {
        this.#flight = null;
        this.azimuth -= dx * 0.008;
        this.elevation = clamp(this.elevation + dy * 0.008, -Math.PI / 2, Math.PI / 2);
    }

    pan(dx, dy) {
        this.#flight = null;
        const { right, up } = this.axes();
        const perPixel = 2 * this.distance * this.spans()[0] / this.width;
        this.target = plus(this.target, plus(times(right, -dx * perPixel), times(up, dy * perPixel)));
    }

    /** What lies under a pixel, as deep as the target, stays there. */
    zoom(factor, x = this.width / 2, y = this.height / 2) {
        this.#flight = null;
        const { origin, way } = this.ray(x, y);
        const distance = clamp(this.distance * factor, 1e-5, 60);
        const under = plus(origin, times(way, this.distance));
        this.target = mixPoints(this.target, under, 1 - distance / this.distance);
        this.distance = distance;
    }

    /** The distance from which points about a target fill the picture. */
    distanceFor(target, points) {
        const { right, up, forward } = this.axes();
        const [spanX, spanY] = this.spans();
        let distance = 1e-3;
        for (const point of points) {
            const way = minus(point, target);
            const needed = Math.max(Math.abs(dot(way, right)) / spanX, Math.abs(dot(way, up)) / spanY) - dot(way, forward);
            distance = Math.max(distance, needed);
        }
        return 1.15 * distance;
    }

    /** Sets out to other values of target, distance, azimuth and elevation. */
    flyTo(end, now) {
        const turn = ((end.azimuth ?? this.azimuth) - this.azimuth) % (2 * Math.PI);
        const shortest = turn > Math.PI ? turn - 2 * Math.PI : turn < -Math.PI ? turn + 2 * Math.PI : turn;
        const start = { target: this.target, distance: this.distance, azimuth: this.azimuth, elevation: this.elevation };
        this.#flight = { begin: now, start, end: { ...start, ...end, azimuth: this.azimuth + shortest } };
    }

    /** Moves on in a flight; true while there is one. */
    advance(now) {
        if (this.#flight === null)
            return false;
        const { begin, start, end } = this.#flight;
        const share = clamp((now - begin) / flightTime, 0, 1), eased = share * share * (3 - 2 * share);
        this.target = mixPoints(start.target, end.target, eased);
        this.distance = Math.exp(mix(Math.log(start.distance), Math.log(end.distance), eased));
        this.azimuth = mix(start.azimuth, end.azimuth, eased);
        this.elevation = mix(start.elevation, end.elevation, eased);
        if (share === 1)
            this.#flight = null;
        return true;
    }
}
