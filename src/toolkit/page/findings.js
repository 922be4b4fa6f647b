// What is known of findings, and how numbers and signs of them look.

const severityNames = ['Fatal', 'Severe', 'Moderate', 'Slight', 'Note'];
const noteSeverity = 4;

// Each severity has a shape of its own, so that none is told by its colour alone: outlines and glyphs in a square of 20.
const severitySigns = [
    ['M6.3 1h7.4L19 6.3v7.4L13.7 19H6.3L1 13.7V6.3z', 'M7 7l6 6M13 7l-6 6'],
    ['M10 1.5l9.2 16.3H.8z', 'M10 7.5v4.8M10 15.1v.1'],
    ['M10 .8l9.2 9.2L10 19.2.8 10z', 'M10 5.8v5M10 13.8v.1'],
    ['M10 1.5a8.5 8.5 0 1 1 0 17a8.5 8.5 0 1 1 0-17', 'M6.5 10h7'],
    ['M4.5 2h11A2.5 2.5 0 0 1 18 4.5v11a2.5 2.5 0 0 1-2.5 2.5h-11A2.5 2.5 0 0 1 2 15.5v-11A2.5 2.5 0 0 1 4.5 2', 'M10 9.3v5M10 6v.1'],
];

/** A number as people read it: whole ones grouped, others with the digits that matter. */
function inDigits(value, digits = 5) {
    if (value === null || value === undefined || !Number.isFinite(value))
        return '–';
    const size = Math.abs(value);
    if (size !== 0 && (size < 1e-4 || size >= 1e9) && !(Number.isInteger(value) && size < 1e15))
        return value.toPrecision(digits).replace(/\.?0+(e|$)/, '$1');
    return value.toLocaleString('en', Number.isInteger(value) ? {} : { maximumSignificantDigits: digits });
}

/** The shortest decimal that reads back to the same float. */
function floatInDigits(value) {
    for (let digits = 6; digits < 9; ++digits)
        if (Math.fround(Number(value.toPrecision(digits))) === value)
            return String(Number(value.toPrecision(digits)));
    return String(Number(value.toPrecision(9)));
}

/** A float of the mesh as the file has it. */
const coordinateInDigits = (description, x, axis) =>
    description.shift[axis] === 0 ? floatInDigits(x) : String(inFile(description, x, axis));

const withUnit = (value, unit) => unit === 'degrees' ? `${inDigits(value, 4)}°`
    : unit === '' || unit === 'length' ? inDigits(value, 4) : `${inDigits(value, 4)} ${unit}`;

/** A name as a shell takes it for one word; null for names that no command line should hold. */
function shellWord(name) {
    if (name === '' || name === '-' || /\p{C}|[\u2028\u2029]/u.test(name))
        return null;
    const path = name.startsWith('-') ? `./${name}` : name;
    return /^[\w./+-]+$/.test(path) ? path : `'${path.replaceAll("'", "'\\''")}'`;
}

/** A command with the file's name in it. */
const remedyFor = (remedy, name) => remedy.split(' ').map(word => word === 'IN' ? shellWord(name) ?? 'IN' : word).join(' ');

const counted = (count, noun, nouns = `${noun}s`) => `${inDigits(count)} ${count === 1 ? noun : nouns}`;

function inBytes(count) {
    return count < 1e6 ? `${inDigits(Math.ceil(count / 1e3))} kB` : `${inDigits(count / 1e6, 3)} MB`;
}

/** What a place measures, where its note does not tell that already. */
function measureInWords(place, unit) {
    const isTold = place.measure === null || place.note.includes(String(Number(place.measure.toPrecision(3))));
    return isTold ? '' : withUnit(place.measure, unit);
}

/** A coordinate of the mesh as it is in the file, from which something may have been taken off for reading. */
const inFile = (description, x, axis) => description.shift[axis] === 0 ? x : Number((x + description.shift[axis]).toPrecision(12));

const pointInWords = (description, point) =>
    point.map((x, axis) => inDigits(inFile(description, x, axis), description.shift[axis] === 0 ? 5 : 12)).join(', ');

/** What a place is made of, by number: a few of many. */
function elementsInWords(place) {
    const most = 4;
    const numbers = (noun, nouns, list) => list.length === 0 ? [] : [`${list.length === 1 ? noun : nouns} ` +
        `${list.slice(0, most).join(', ')}${list.length > most ? ` … (${inDigits(list.length)})` : ''}`];
    const ends = place.edges.map((v, i) => i % 2 === 0 ? `${v}–${place.edges[i + 1]}` : '').filter(Boolean);
    return [...numbers('edge', 'edges', ends), ...numbers('vertex', 'vertices', place.vertices),
        ...numbers('triangle', 'triangles', place.triangles)].join('; ');
}

/** The box of a place; nothing where it is a point. */
function boxInWords(description, place) {
    const isPoint = place.lowest.every((x, axis) => x === place.highest[axis]);
    return isPoint ? '' : `box ${pointInWords(description, place.lowest)} to ${pointInWords(description, place.highest)}`;
}

/** A place in words: what it is made of, where, and what is special of it. */
function placeInWords(description, place) {
    return [elementsInWords(place), `at ${pointInWords(description, place.centre)}`, place.note].filter(Boolean).join('; ');
}

/** How many findings a mesh has of each severity. */
const severityCounts = description =>
    severityNames.map((_, severity) => description.findings.filter(finding => finding.severity === severity).length);

/** Findings of a mesh that hold a triangle: name it, one of its edges or one of its corners. */
function findingsAt(surface, t) {
    const number = surface.triangleNumber(t);
    const isCorner = new Set(surface.cornersOf(t).map(v => surface.vertexNumber(v)));
    const holds = place => place.triangles.includes(number) || place.vertices.some(v => isCorner.has(v)) ||
        place.edges.some((v, i) => i % 2 === 0 && isCorner.has(v) && isCorner.has(place.edges[i + 1]));
    return surface.description.findings
        .map((finding, index) => ({ index, place: finding.places.findIndex(holds) }))
        .filter(found => found.place >= 0);
}
