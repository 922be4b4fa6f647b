// Puts the page together: what is chosen and shown, and what mouse, fingers and keys do.

const byId = id => document.getElementById(id);
const canvas = byId('canvas');
const data = JSON.parse(byId('diagnosis').textContent);
const surfaces = data.meshes.map((description, index) => new Surface(index, description));
const frame = commonFrame(surfaces);
surfaces.forEach(surface => surface.placeIn(frame));

const camera = new Camera();
const state = {
    shown: 'before',  // before, both, after
    split: 0.5,       // share of the width where before ends, of both
    chosen: null,     // {mesh, finding, place}; place -1: none
    picked: null,     // {mesh, triangle}
    showsAll: false,
    showsEdges: false,
    tintsBacks: true,
};
let view = null;  // null: no WebGL

const wantsCalm = matchMedia('(prefers-reduced-motion: reduce)');
const wantsDark = matchMedia('(prefers-color-scheme: dark)');

// --- what is lit

const litCache = new Map();
function remember(key, build) {
    if (!litCache.has(key))
        litCache.set(key, build());
    return litCache.get(key);
}

const themeColor = name => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
const findingOf = ({ mesh, finding }) => surfaces[mesh].description.findings[finding];
const chosenPlace = () => state.chosen === null ? null : findingOf(state.chosen).places[state.chosen.place] ?? null;

function litOf(finding, surface, lineWidth, dotSize) {
    const color = themeColor(`severity${finding.severity}`);
    return { color, lineWidth, dotSize, elements: remember(finding, () => litElements(surface, finding.places)) };
}

/** On one surface, what is drawn last being the last. */
function litList(mesh) {
    const surface = surfaces[mesh], { findings } = surface.description, lit = [];
    if (state.showsAll)
        for (const finding of [...findings].reverse()) {
            const all = litOf(finding, surface, 2.5, 8);
            if (finding.severity !== noteSeverity)  // a note may hold all triangles there are
                lit.push(all);
            lit.push({ ...all, dotSize: 10, elements: remember(finding.places, () => litCentres(surface, finding.places)) });
        }
    if (state.chosen?.mesh === mesh) {
        const finding = findingOf(state.chosen), place = chosenPlace();
        lit.push({ ...litOf(finding, surface, 2, 8), opacity: finding.places.length > 1 && place !== null ? 0.5 : 1 });
        if (place !== null)
            lit.push({ color: lit.at(-1).color, lineWidth: 4, dotSize: 12,
                elements: remember(place, () => litElements(surface, [place])) });
    }
    if (state.picked?.mesh === mesh)
        lit.push({ color: themeColor('picked'), lineWidth: 2.5, dotSize: 0, isOutline: true,
            elements: remember(`${mesh} ${state.picked.triangle}`, () => litElements(surface, [pickedPlace(surface)])) });
    return lit;
}

const pickedPlace = surface => ({ triangles: [surface.triangleNumber(state.picked.triangle)], edges: [], vertices: [] });

// --- drawing, when there is something new to be seen

let isFrameAsked = false;
function redraw() {
    if (isFrameAsked || view === null)
        return;
    isFrameAsked = true;
    requestAnimationFrame(draw);
}

/** Which meshes are shown in which shares of the width. */
function sides() {
    if (state.shown === 'both')
        return [{ mesh: 0, from: 0, to: state.split }, { mesh: 1, from: state.split, to: 1 }];
    return [{ mesh: state.shown === 'before' ? 0 : 1, from: 0, to: 1 }];
}

function draw(now) {
    isFrameAsked = false;
    if (camera.advance(now))
        redraw();
    const colors = Object.fromEntries(['ground', 'surface', 'back', 'edge'].map(name => [name, themeColor(name)]));
    view.draw({ camera, colors, showsEdges: state.showsEdges, tintsBacks: state.tintsBacks,
        sides: sides().map(side => ({ ...side, surface: surfaces[side.mesh], lit: litList(side.mesh) })) });
    placeMark();
}

/** A ring about the chosen place, which may be too small to be seen. */
function placeMark() {
    const mark = byId('mark'), place = chosenPlace();
    const at = place === null ? null : camera.project(inFrame(frame, place.centre));
    const side = at === null ? undefined : sides().find(s => at.x >= s.from * camera.width && at.x <= s.to * camera.width);
    const diagonal = place === null ? 0 : lengthOf(minus(place.highest, place.lowest)) / frame.radius;
    const size = at === null ? 0 : Math.max(40, (Number.isFinite(diagonal) ? diagonal : 0) * at.pixelsPerUnit + 24);
    mark.hidden = at === null || side?.mesh !== state.chosen.mesh || size > 0.25 * Math.min(camera.width, camera.height);
    if (mark.hidden)
        return;
    mark.style.width = mark.style.height = `${size}px`;
    mark.style.transform = `translate(${at.x - size / 2}px, ${at.y - size / 2}px)`;
    mark.style.setProperty('--severity', `var(--severity${findingOf(state.chosen).severity})`);
}

function fly(end) {
    camera.flyTo(end, wantsCalm.matches ? -Infinity : performance.now());
    redraw();
}

function fit() {
    const points = surfaces.flatMap(surface => [...surface.sampledPoints()]);
    const target = [0, 0, 0];  // the middle of the frame
    fly({ target, distance: points.length > 0 ? camera.distanceFor(target, points) : 4 });
}

// --- choosing

const lists = surfaces.map((surface, mesh) => new FindingList(surface.description,
    surfaces.length === 1 ? '' : ['Before', 'After'][mesh], (finding, place) => choose(mesh, finding, place)));

/** A finding and one of its places: opens it in the list, lights it, flies there. A finding of -1: nothing. */
function choose(mesh, finding, place) {
    state.chosen = finding < 0 ? null : { mesh, finding, place };
    if (state.chosen !== null && !sides().some(side => side.mesh === mesh))
        show(mesh === 0 ? 'before' : 'after');
    lists.forEach((list, i) => list.show(i === mesh ? finding : -1, place));
    const at = chosenPlace();
    if (at !== null && view !== null)
        fly(lookAt(surfaces[mesh], at, camera));
    if (state.chosen !== null)
        say(`${severityNames[findingOf(state.chosen).severity]}: ${findingOf(state.chosen).title}${at === null ? '' : `. Place ${place + 1}: ${placeInWords(surfaces[mesh].description, at)}`}`);
    redraw();
}

const say = text => { byId('spoken').textContent = text; };

/** All findings of the meshes that are shown, in the order of the lists. */
const shownFindings = () => sides().flatMap(({ mesh }) =>
    surfaces[mesh].description.findings.map((_, finding) => ({ mesh, finding })));

function stepFinding(step) {
    const all = shownFindings();
    if (all.length === 0)
        return;
    const at = all.findIndex(f => f.mesh === state.chosen?.mesh && f.finding === state.chosen.finding);
    const next = all[at < 0 ? (step > 0 ? 0 : all.length - 1) : (at + step + all.length) % all.length];
    choose(next.mesh, next.finding, 0);
}

function stepPlace(step) {
    if (state.chosen === null)
        return stepFinding(step);
    const count = findingOf(state.chosen).places.length;
    if (count > 0)
        choose(state.chosen.mesh, state.chosen.finding, (state.chosen.place + step + count) % count);
}

/** Before, both or after. */
function show(shown) {
    state.shown = shown;
    const isSplit = shown === 'both';
    document.querySelector(`#compare [value=${shown}]`).checked = true;
    for (const id of ['split', 'captionBefore', 'captionAfter'])
        byId(id).hidden = !isSplit || view === null;
    lists.forEach((list, mesh) => { list.element.hidden = !sides().some(side => side.mesh === mesh); });
    if (state.picked !== null && !sides().some(side => side.mesh === state.picked.mesh))
        pick(null);
    if (state.chosen !== null && !sides().some(side => side.mesh === state.chosen.mesh))
        choose(state.chosen.mesh, -1, -1);
    placeSplit();
}

function placeSplit(split = state.split) {
    state.split = clamp(split, 0.02, 0.98);
    const handle = byId('split');
    handle.style.left = `${100 * state.split}%`;
    handle.setAttribute('aria-valuenow', String(Math.round(100 * state.split)));
    byId('captionBefore').style.left = `${50 * state.split}%`;
    byId('captionAfter').style.left = `${50 * (1 + state.split)}%`;
    redraw();
}

// --- picking

/** The mesh and triangle under a pixel, and its distance along the ray; null: none. */
function triangleAt(x, y) {
    const share = x / camera.width;
    const { mesh } = sides().find(side => share <= side.to) ?? sides()[0];
    const { origin, way } = camera.ray(x, y);
    const hit = castRay(surfaces[mesh], origin, way);
    return hit === null ? null : { mesh, triangle: hit.triangle, point: plus(origin, times(way, hit.distance)) };
}

function pick(found) {
    state.picked = found === null ? null : { mesh: found.mesh, triangle: found.triangle };
    byId('picked').hidden = found === null;
    if (found !== null) {
        const surface = surfaces[found.mesh];
        fillPicked(byId('picked'), surface, found.triangle, (finding, place) => choose(found.mesh, finding, place), () => pick(null));
        say(`Triangle ${surface.triangleNumber(found.triangle)}`);
    }
    redraw();
}

// --- mouse and fingers

const pointers = new Map();
let travelled = 0;

function placeOf(event) {
    const { left, top } = canvas.getBoundingClientRect();
    return { x: event.clientX - left, y: event.clientY - top };
}

canvas.addEventListener('pointerdown', event => {
    canvas.setPointerCapture(event.pointerId);
    pointers.set(event.pointerId, placeOf(event));
    if (pointers.size === 1)
        travelled = 0;
});

canvas.addEventListener('pointermove', event => {
    const before = pointers.get(event.pointerId);
    if (before === undefined)
        return;
    const now = placeOf(event), dx = now.x - before.x, dy = now.y - before.y;
    travelled += Math.abs(dx) + Math.abs(dy);
    if (pointers.size === 2)
        moveTwo(event.pointerId, before, now);
    else if (event.buttons & 6 || event.shiftKey)
        camera.pan(dx, dy);
    else if (travelled > 4)
        camera.turn(dx, dy);
    pointers.set(event.pointerId, now);
    redraw();
});

/** Two fingers: the spot between them goes along, their distance zooms. */
function moveTwo(id, before, now) {
    const [other] = [...pointers].filter(([key]) => key !== id).map(([, place]) => place);
    const span = Math.hypot(before.x - other.x, before.y - other.y), spanNow = Math.hypot(now.x - other.x, now.y - other.y);
    if (span > 0 && spanNow > 0)
        camera.zoom(span / spanNow, (now.x + other.x) / 2, (now.y + other.y) / 2);
    camera.pan((now.x - before.x) / 2, (now.y - before.y) / 2);
}

function endPointer(event) {
    const wasDown = pointers.delete(event.pointerId);
    if (event.type === 'pointerup' && wasDown && pointers.size === 0 && travelled <= 4 && event.button === 0)
        pick(triangleAt(placeOf(event).x, placeOf(event).y));
    else if (pointers.size > 0)
        travelled = Infinity;  // what is left of two fingers is no click
}
canvas.addEventListener('pointerup', endPointer);
canvas.addEventListener('pointercancel', endPointer);
canvas.addEventListener('contextmenu', event => event.preventDefault());

canvas.addEventListener('dblclick', event => {
    const { x, y } = placeOf(event), found = triangleAt(x, y);
    if (found !== null)
        fly({ target: found.point, distance: 0.6 * camera.distance });
});

canvas.addEventListener('wheel', event => {
    event.preventDefault();
    const { x, y } = placeOf(event), lines = event.deltaMode === 1 ? 18 : 1;
    camera.zoom(Math.exp(clamp(event.deltaY * lines, -200, 200) * 0.0016), x, y);
    redraw();
}, { passive: false });

byId('split').addEventListener('pointerdown', event => event.currentTarget.setPointerCapture(event.pointerId));
byId('split').addEventListener('pointermove', event => {
    if (event.buttons & 1)
        placeSplit(placeOf(event).x / camera.width);
});
byId('split').addEventListener('keydown', event => {
    const step = { ArrowLeft: -0.05, ArrowRight: 0.05, Home: -1, End: 1 }[event.key];
    if (step !== undefined) {
        event.preventDefault();
        placeSplit(state.split + step);
    }
});

// --- keys and buttons

function toggle(name, id) {
    state[name] = !state[name];
    byId(id).setAttribute('aria-pressed', String(state[name]));
    redraw();
}

function setUp(axis) {
    camera.upAxis = axis;
    byId('toolUp').textContent = `${axis.toUpperCase()} up`;
    redraw();
}

function setTheme(theme) {
    document.documentElement.dataset.theme = theme;
    byId('toolTheme').textContent = theme === 'dark' ? 'Light' : 'Dark';
    redraw();
}

function showKeys(isShown) {
    byId('keys').hidden = !isShown;
    byId('toolKeys').setAttribute('aria-expanded', String(isShown));
}

function putAway() {
    if (!byId('keys').hidden)
        showKeys(false);
    else if (state.picked !== null)
        pick(null);
    else if (state.chosen !== null)
        choose(state.chosen.mesh, -1, -1);
}

const commands = {
    f: fit,
    a: () => toggle('showsAll', 'toolAll'),
    w: () => toggle('showsEdges', 'toolEdges'),
    b: () => toggle('tintsBacks', 'toolBacks'),
    u: () => setUp(camera.upAxis === 'y' ? 'z' : 'y'),
    t: () => setTheme(document.documentElement.dataset.theme === 'dark' ? 'light' : 'dark'),
    n: () => stepFinding(1),
    p: () => stepFinding(-1),
    N: () => stepPlace(1),
    P: () => stepPlace(-1),
    '?': () => showKeys(byId('keys').hidden),
    Escape: putAway,
};

document.addEventListener('keydown', event => {
    if (event.ctrlKey || event.metaKey || event.altKey || commands[event.key] === undefined)
        return;
    event.preventDefault();
    commands[event.key]();
});

canvas.addEventListener('keydown', event => {
    const way = { ArrowLeft: [-24, 0], ArrowRight: [24, 0], ArrowUp: [0, -24], ArrowDown: [0, 24] }[event.key];
    if (way !== undefined)
        event.shiftKey ? camera.pan(...way) : camera.turn(...way);
    else if (event.key === '+' || event.key === '=' || event.key === '-')
        camera.zoom(event.key === '-' ? 1.2 : 1 / 1.2);
    else
        return;
    event.preventDefault();
    redraw();
});

for (const [id, key] of Object.entries({ toolFit: 'f', toolAll: 'a', toolEdges: 'w', toolBacks: 'b', toolUp: 'u', toolTheme: 't', toolKeys: '?' }))
    byId(id).addEventListener('click', () => commands[key]());
document.querySelectorAll('#compare input').forEach(input =>
    input.addEventListener('change', () => show(input.value)));
wantsDark.addEventListener('change', () => setTheme(wantsDark.matches ? 'dark' : 'light'));

// --- the start

function startView() {
    try {
        view = new View(canvas);
    } catch (error) {
        console.info(`The surface is not drawn: ${error.message}`);
        canvas.hidden = byId('tools').hidden = true;
        byId('noView').hidden = false;
        return;
    }
    canvas.addEventListener('webglcontextlost', event => event.preventDefault());
    canvas.addEventListener('webglcontextrestored', () => {
        view.restart();
        redraw();
    });
}

function resize() {
    const { width, height } = byId('view').getBoundingClientRect();
    [camera.width, camera.height] = [Math.max(1, width), Math.max(1, height)];
    redraw();
}

setTheme(wantsDark.matches ? 'dark' : 'light');
startView();
resize();
new ResizeObserver(resize).observe(byId('view'));
byId('lists').append(...lists.map(list => list.element));
byId('compare').hidden = surfaces.length === 1;
fillHead(byId('head'), data.meshes);
fillFacts(byId('facts'), data.meshes);
fillFoot(byId('foot'), surfaces, data.version);
show('before');
fit();
camera.advance(Infinity);

/** For tests, and for pages that hold this one in a frame. Places are pixels of the view. */
window.trimoraPage = {
    state: () => ({ ...structuredClone(state), draws: view !== null, target: camera.target, distance: camera.distance,
        azimuth: camera.azimuth, elevation: camera.elevation, isFlying: camera.isFlying }),
    choose,
    show,
    settle: () => {
        camera.advance(Infinity);
        if (view !== null)
            draw(performance.now());
    },
    placeOfVertex: (mesh, number) => camera.project(surfaces[mesh].point(surfaces[mesh].vertexIndex(number))),
    triangleAt: (x, y) => {
        const found = triangleAt(x, y);
        return found === null ? null : { mesh: found.mesh, triangle: surfaces[found.mesh].triangleNumber(found.triangle) };
    },
};
