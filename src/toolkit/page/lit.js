// What a finding lights on a surface, and from where its places are seen best.

// Lit triangles get their edges drawn, so that those without area are seen: in places of not too many, and not for ever.
const mostOutlinesOfPlace = 200;
const mostOutlines = 20000;

/** Indices of what a place points at, as far as it is shown. */
function elementsOf(surface, place) {
    const vertexAt = number => surface.vertexIndex(number);
    const edges = [];
    for (let i = 0; i + 1 < place.edges.length; i += 2) {
        const edge = [vertexAt(place.edges[i]), vertexAt(place.edges[i + 1])];
        if (edge.every(v => surface.isPoint(v)))
            edges.push(edge);
    }
    return {
        triangles: place.triangles.map(number => surface.triangleIndex(number)).filter(t => t >= 0),
        edges,
        vertices: place.vertices.map(vertexAt).filter(v => surface.isPoint(v)),
    };
}

/** What is lit for some places: corners of triangles, segments (two points each), points. */
function litElements(surface, places) {
    const corners = [], segments = [], points = [];
    const addSegment = (a, b) => segments.push(...surface.point(a), ...surface.point(b));
    for (const place of places) {
        const { triangles, edges, vertices } = elementsOf(surface, place);
        for (const t of triangles) {
            const [a, b, c] = surface.cornersOf(t);
            corners.push(a, b, c);
            if (triangles.length <= mostOutlinesOfPlace && segments.length < 18 * mostOutlines) {
                addSegment(a, b);
                addSegment(b, c);
                addSegment(c, a);
            }
        }
        edges.forEach(([a, b]) => addSegment(a, b));
        vertices.forEach(v => points.push(...surface.point(v)));
    }
    return { corners: Uint32Array.from(corners), segments: Float32Array.from(segments), points: Float32Array.from(points) };
}

/** Where the places are, as points. */
function litCentres(surface, places) {
    const centres = places.map(place => inFrame(surface.frame, place.centre)).filter(isFinitePoint);
    return { corners: new Uint32Array(0), segments: new Float32Array(0), points: Float32Array.from(centres.flat()) };
}

/** The triangles at a place: the way they face together (null: none), and the extent of the largest. */
function surroundingsOf(surface, place) {
    const { triangles, edges, vertices } = elementsOf(surface, place);
    const isNear = new Uint8Array(surface.numVertices);
    triangles.forEach(t => surface.cornersOf(t).forEach(v => { isNear[v] = 1; }));
    edges.flat().concat(vertices).forEach(v => { isNear[v] = 1; });
    let facing = [0, 0, 0], extent = 0;
    const { corners } = surface;
    for (let i = 0; i < corners.length; i += 3) {
        if (!(isNear[corners[i]] | isNear[corners[i + 1]] | isNear[corners[i + 2]]))
            continue;
        const [a, b, c] = [0, 1, 2].map(k => surface.point(corners[i + k]));
        facing = plus(facing, cross(minus(b, a), minus(c, a)));
        extent = Math.max(extent, lengthOf(minus(b, a)), lengthOf(minus(c, b)), lengthOf(minus(a, c)));
    }
    return { facing: unit(facing), extent };
}

/** How to look at a place: target, distance, azimuth, elevation; and the radius of what is there. */
function lookAt(surface, place, camera) {
    const target = inFrame(surface.frame, place.centre);
    const diagonal = lengthOf(minus(place.highest, place.lowest)) / surface.frame.radius;
    const radius = Number.isFinite(diagonal) ? diagonal / 2 : 0;
    const { facing, extent } = surroundingsOf(surface, place);
    const around = radius > 0 ? Math.min(3 * extent, 8 * radius) : 3 * extent;
    const shown = clamp(Math.max(2.4 * radius, around), 1e-4, 1.2);
    const distance = shown / Math.tan(fieldOfView / 2) * 1.1;
    const angles = clearestAngles(surface, target, radius, distance, facing, camera);
    return { target, distance, radius, ...angles };
}

// Ways to try when a place is hidden, the most to be tried on large surfaces, which take longest, being the first.
const otherWays = [[1, 1, 1], [-1, 1, 1], [1, 1, -1], [-1, 1, -1], [1, -1, 1], [-1, -1, 1], [1, -1, -1], [-1, -1, -1],
    [0, 1, 0], [0, -1, 0]];

/** The first of some ways from which nothing hides the target: from where its surface faces, from where one is, from behind ... */
function clearestAngles(surface, target, radius, distance, facing, camera) {
    const { eye } = camera.axes();
    const current = unit(minus(eye, camera.target));
    const wanted = facing === null ? [current] : [facing, current, times(facing, -1)];
    const ways = wanted.concat(surface.numTriangles > 200000 ? otherWays.slice(0, 2) : otherWays).map(unit);
    const isClear = way => {
        const hit = castRay(surface, plus(target, times(way, distance)), times(way, -1));
        return hit === null || hit.distance >= distance - Math.max(1.05 * radius, 1e-3 * distance);
    };
    return camera.anglesOf(ways.find(isClear) ?? ways[0]);
}
