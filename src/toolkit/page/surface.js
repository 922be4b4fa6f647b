// A surface: its arrays as the page holds them, and its points moved and scaled so that all surfaces lie in the unit ball.
// "Number" is always a number in the mesh as it was read; "index" a place in the page's arrays, which may hold fewer.

function decodeArray(id, ArrayType) {
    const text = atob(document.getElementById(id).textContent);
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < bytes.length; ++i)
        bytes[i] = text.charCodeAt(i);
    return new ArrayType(bytes.buffer);
}

class Surface {
    constructor(index, description) {
        this.description = description;
        this.coordinates = decodeArray(`positions${index}`, Float32Array);
        this.corners = decodeArray(`corners${index}`, Uint32Array);
        this.vertexNumbers = decodeArray(`vertexNumbers${index}`, Uint32Array);
        this.triangleNumbers = decodeArray(`triangleNumbers${index}`, Uint32Array);
        this.numVertices = this.coordinates.length / 3;
        this.numTriangles = this.corners.length / 3;
        this.numBytes = this.coordinates.byteLength + this.corners.byteLength + this.vertexNumbers.byteLength +
            this.triangleNumbers.byteLength;
        this.points = null;
    }

    /** Adds the corners of all triangles, or where there are none, all finite vertices. */
    addTo(box) {
        const { coordinates, corners } = this;
        for (const v of corners)
            box.add(coordinates[3 * v], coordinates[3 * v + 1], coordinates[3 * v + 2]);
        for (let v = 0; corners.length === 0 && v < this.numVertices; ++v)
            if (isFinitePoint(this.coordinatesOf(v)))
                box.add(...this.coordinatesOf(v));
    }

    /** Some of the corners, as points: at most about 20,000, spread over all triangles. */
    * sampledPoints() {
        const step = Math.max(1, Math.floor(this.corners.length / 20000));
        for (let i = 0; i < this.corners.length; i += step)
            yield this.point(this.corners[i]);
    }

    /** Computed in doubles, so that a surface far from the origin keeps its shape. */
    placeIn(frame) {
        const { coordinates } = this;
        this.frame = frame;
        this.points = new Float32Array(coordinates.length);
        for (let i = 0; i < coordinates.length; ++i)
            this.points[i] = (coordinates[i] - frame.centre[i % 3]) / frame.radius;
    }

    coordinatesOf(v) { return Array.from(this.coordinates.subarray(3 * v, 3 * v + 3)); }
    point(v) { return Array.from(this.points.subarray(3 * v, 3 * v + 3)); }
    isPoint(v) { return v >= 0 && v < this.numVertices && isFinitePoint(this.point(v)); }
    cornersOf(t) { return Array.from(this.corners.subarray(3 * t, 3 * t + 3)); }

    vertexNumber(v) { return this.vertexNumbers.length > 0 ? this.vertexNumbers[v] : v; }
    triangleNumber(t) { return this.triangleNumbers.length > 0 ? this.triangleNumbers[t] : t; }
    /** -1: it is not shown. */
    vertexIndex(number) { return Surface.indexOf(number, this.vertexNumbers, this.numVertices); }
    triangleIndex(number) { return Surface.indexOf(number, this.triangleNumbers, this.numTriangles); }

    static indexOf(number, numbers, count) {
        if (numbers.length === 0)
            return number >= 0 && number < count ? number : -1;
        let low = 0, high = numbers.length;
        while (low < high) {
            const middle = (low + high) >> 1;
            if (numbers[middle] < number)
                low = middle + 1;
            else
                high = middle;
        }
        return numbers[low] === number ? low : -1;
    }
}

/** Where all surfaces lie, and how large they are; a radius above 0. */
function commonFrame(surfaces) {
    const box = new Box();
    surfaces.forEach(surface => surface.addTo(box));
    if (box.isEmpty)
        return { centre: [0, 0, 0], radius: 1 };
    return { centre: box.centre, radius: box.radius > 0 ? box.radius : 1 };
}

/** A point of the mesh's coordinates in the unit ball. */
const inFrame = (frame, point) => times(minus(point, frame.centre), 1 / frame.radius);
