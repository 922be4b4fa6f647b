'use strict';

// Points and ways are arrays of three numbers.

const plus = (a, b) => [a[0] + b[0], a[1] + b[1], a[2] + b[2]];
const minus = (a, b) => [a[0] - b[0], a[1] - b[1], a[2] - b[2]];
const times = (a, s) => [a[0] * s, a[1] * s, a[2] * s];
const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
const cross = (a, b) => [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]];
const lengthOf = a => Math.hypot(a[0], a[1], a[2]);
const mix = (a, b, share) => a + (b - a) * share;
const mixPoints = (a, b, share) => [mix(a[0], b[0], share), mix(a[1], b[1], share), mix(a[2], b[2], share)];
const isFinitePoint = a => a.every(Number.isFinite);
const clamp = (value, low, high) => Math.min(Math.max(value, low), high);

/** Of length 1; null for a way that has no direction. */
function unit(a) {
    const length = lengthOf(a);
    return length > 0 && Number.isFinite(length) ? times(a, 1 / length) : null;
}

/** A box that grows. */
class Box {
    lowest = [Infinity, Infinity, Infinity];
    highest = [-Infinity, -Infinity, -Infinity];

    add(x, y, z) {
        const { lowest, highest } = this;
        if (x < lowest[0]) lowest[0] = x;
        if (y < lowest[1]) lowest[1] = y;
        if (z < lowest[2]) lowest[2] = z;
        if (x > highest[0]) highest[0] = x;
        if (y > highest[1]) highest[1] = y;
        if (z > highest[2]) highest[2] = z;
    }

    get isEmpty() { return this.lowest[0] > this.highest[0]; }
    get centre() { return mixPoints(this.lowest, this.highest, 0.5); }
    get radius() { return lengthOf(minus(this.highest, this.lowest)) / 2; }
}
