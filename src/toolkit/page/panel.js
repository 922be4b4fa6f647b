// The list of findings and what stands about it. Texts of files only ever become text nodes.

const placesAtFirst = 8;

/** An element with attributes, and children that are elements or texts. */
function element(tag, attributes = {}, ...children) {
    const made = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes))
        made.setAttribute(name, value);
    made.append(...children);
    return made;
}

function button(attributes, onClick, ...children) {
    const made = element('button', { type: 'button', ...attributes }, ...children);
    made.addEventListener('click', onClick);
    return made;
}

function drawing(className, ...paths) {
    const space = 'http://www.w3.org/2000/svg';
    const svg = document.createElementNS(space, 'svg');
    svg.setAttribute('viewBox', '0 0 20 20');
    svg.setAttribute('class', className);
    svg.setAttribute('aria-hidden', 'true');
    for (const attributes of paths) {
        const path = document.createElementNS(space, 'path');
        Object.entries(attributes).forEach(([name, value]) => path.setAttribute(name, value));
        svg.append(path);
    }
    return svg;
}

function severitySign(severity) {
    const [outline, glyph] = severitySigns[severity];
    return drawing('sign', { d: outline, fill: `var(--severity${severity})` },
        { d: glyph, fill: 'none', stroke: 'var(--paper)', 'stroke-width': 2, 'stroke-linecap': 'round' });
}

async function copyText(text) {
    try {
        await navigator.clipboard.writeText(text);
        return true;
    } catch {  // no permission, or not a secure place: the old way
        const field = element('textarea', { class: 'unseen' });
        field.value = text;
        document.body.append(field);
        field.select();
        const isCopied = document.execCommand('copy');
        field.remove();
        return isCopied;
    }
}

/** A command with a button that copies it. */
function remedyBox(remedy) {
    const copy = button({ 'aria-label': 'Copy the command' }, async () => {
        copy.textContent = await copyText(remedy) ? 'Copied' : 'Select it';
        setTimeout(() => { copy.textContent = 'Copy'; }, 1600);
    }, 'Copy');
    return element('div', { class: 'remedy' }, element('code', {}, remedy), copy);
}

/** The list of one mesh's findings. `choose(finding, place)` is told what was clicked; null: put away. */
class FindingList {
    constructor(description, heading, choose) {
        this.description = description;
        this.choose = choose;
        this.chosen = -1;
        this.items = description.findings.map((finding, index) => this.#item(finding, index, heading));
        const name = heading === '' ? [] : [element('h2', {}, `${heading}: `, element('bdi', {}, description.title))];
        const list = this.items.length > 0 ? element('ul', {}, ...this.items.map(item => item.element))
            : element('p', { class: 'sound' }, 'Nothing was found.');
        this.element = element('section', {}, ...name, list);
    }

    #item(finding, index, heading) {
        const id = `finding${heading}${index}`;
        const kind = element('span', { class: 'kind' }, element('b', {}, severityNames[finding.severity]));
        if (finding.count > 1 && finding.places.length > 0)
            kind.append(` · ${counted(finding.places.length, 'place')}${finding.count > finding.places.length ? ` of ${inDigits(finding.count)}` : ''}`);
        const head = button({ 'aria-expanded': 'false', 'aria-controls': id },
            () => this.chosen === index ? this.choose(-1, -1) : this.choose(index, 0),
            severitySign(finding.severity), element('span', { class: 'title' }, finding.title), kind,
            drawing('fold', { d: 'M7 4l6 6-6 6', fill: 'none', stroke: 'currentColor', 'stroke-width': 2 }));
        const body = element('div', { class: 'body', id, hidden: '' });
        const item = element('li', { class: 'finding', style: `--severity: var(--severity${finding.severity})` },
            element('h3', {}, head), body);
        return { element: item, head, body, placeButtons: null };
    }

    #fillBody(item, finding, index) {
        const { body } = item;
        item.placeButtons = finding.places.map((place, i) => this.#placeButton(finding, place, index, i));
        if (finding.meaning !== '')
            body.append(element('p', {}, finding.meaning));
        if (finding.advice !== '')
            body.append(element('p', {}, finding.advice));
        if (finding.remedy !== '')
            body.append(element('h4', {}, finding.isSure ? 'Mend it' : 'May mend it'), remedyBox(remedyFor(finding.remedy, this.description.title)));
        if (item.placeButtons.length === 0)
            return;
        body.append(element('h4', {}, 'Where'));
        const rows = item.placeButtons.map(place => element('li', {}, place));
        body.append(element('ol', { class: 'places' }, ...rows));
        if (rows.length > placesAtFirst + 2) {
            rows.slice(placesAtFirst).forEach(row => { row.hidden = true; });
            const more = button({ class: 'more' }, () => this.#showAll(item), `Show all ${rows.length} places`);
            body.append(more);
            item.showAll = () => {
                rows.forEach(row => { row.hidden = false; });
                more.remove();
            };
        }
        if (finding.count > rows.length)
            body.append(element('p', { class: 'rest' }, `These are the first or worst ${rows.length} of ${inDigits(finding.count)}.`));
    }

    #showAll(item) {
        item.showAll?.();
        item.showAll = null;
    }

    #placeButton(finding, place, index, i) {
        const { description } = this;
        const lines = [elementsInWords(place), `at ${pointInWords(description, place.centre)}`].filter(Boolean);
        const box = boxInWords(description, place);
        const about = [element('span', { class: 'elements' }, lines[0]),
            ...[...lines.slice(1), place.note].filter(Boolean).map(line => element('span', { class: 'note' }, line)),
            ...box === '' ? [] : [element('span', { class: 'note box' }, box)]];
        const parts = [element('span', { class: 'order' }, String(i + 1)), element('span', { class: 'about' }, ...about)];
        const measure = measureInWords(place, finding.unit);
        if (measure !== '')
            parts.push(element('span', { class: 'measure' }, measure));
        return button({}, () => this.choose(index, i), ...parts);
    }

    /** Opens a finding and marks one of its places; -1: none. */
    show(chosen, place) {
        this.chosen = chosen;
        this.items.forEach((item, index) => {
            const isOpen = index === chosen;
            if (isOpen && item.placeButtons === null)
                this.#fillBody(item, this.description.findings[index], index);
            item.head.setAttribute('aria-expanded', String(isOpen));
            item.body.hidden = !isOpen;
            item.placeButtons?.forEach((row, i) => row.setAttribute('aria-current', String(isOpen && i === place)));
        });
        if (chosen < 0)
            return;
        const item = this.items[chosen];
        if (place >= placesAtFirst)
            this.#showAll(item);
        const shown = item.placeButtons[place];
        (place > 0 && shown ? shown : item.element).scrollIntoView({ block: 'nearest' });
    }
}

/** How many findings of which severity. */
function verdictLine(description) {
    const counts = severityCounts(description);
    const signs = counts.map((count, severity) => count === 0 ? [] : [element('span', {}, severitySign(severity),
        `${count} ${severityNames[severity].toLowerCase()}${severity === noteSeverity && count > 1 ? 's' : ''}`)]).flat();
    const isSound = counts.slice(0, noteSeverity).every(count => count === 0);
    return element('p', { class: 'verdict' }, ...isSound ? [element('b', {}, 'Sound')] : [], ...signs);
}

/** Name and verdict of one mesh or two. */
function fillHead(head, descriptions) {
    const [, folder, name] = /^(.*\/)?(.*)$/s.exec(descriptions[0].title);
    const title = element('bdi', {}, element('span', { class: 'folder' }, folder ?? ''), name);
    head.replaceChildren(element('h1', {}, title), verdictLine(descriptions[0]));
    if (descriptions.length > 1)
        head.append(element('p', { class: 'repaired' }, 'Repaired as ', element('bdi', {}, descriptions[1].title)),
            verdictLine(descriptions[1]));
}

/** Figures of one mesh, or of two beside each other. */
function fillFacts(facts, descriptions) {
    const row = (name, value) => element('tr', {}, element('th', { scope: 'row' }, name),
        ...descriptions.map(description => element('td', {}, value(description))));
    const sizeOf = d => d.highest.map((high, i) => inDigits(high - d.lowest[i], 4)).join(' × ');
    const table = element('table', {}, element('tbody', {},
        row('Triangles', d => inDigits(d.triangles)), row('Vertices', d => inDigits(d.vertices)),
        row('Parts', d => inDigits(d.parts)), row('Boundaries', d => inDigits(d.boundaries)),
        row('Area', d => inDigits(d.area)), row('Volume', d => d.volume === null ? 'not closed' : inDigits(d.volume)),
        row('Size', sizeOf)));
    if (descriptions.length > 1)
        table.prepend(element('thead', {}, element('tr', {}, element('td'), element('th', { scope: 'col' }, 'Before'),
            element('th', { scope: 'col' }, 'After'))));
    facts.replaceChildren(table);
}

/** What of the surfaces is not shown as it is, how large they are, and what made the page. */
function fillFoot(foot, surfaces, version) {
    const lines = ['Triangles and vertices are numbered from 0, in the order of the file.'];
    lines.push(...surfaces.flatMap(surface => {
        const { description } = surface, found = [];
        if (description.shift.some(x => x !== 0))
            found.push(`Coordinates are those of ${description.title}, from which ${description.shift.join(', ')} was taken off for reading.`);
        if (description.isThinned)
            found.push(`Thinned for display: ${inDigits(surface.numTriangles)} of ${counted(description.triangles, 'triangle')} of ${description.title} are drawn. The places of findings are kept.`);
        if (description.leftOut > 0)
            found.push(`Not drawn: ${counted(description.leftOut, 'triangle')} of ${description.title} with corners that are missing or not finite.`);
        return found;
    }));
    const drawn = surfaces.reduce((sum, surface) => sum + surface.numTriangles, 0);
    const bytes = surfaces.reduce((sum, surface) => sum + surface.numBytes, 0);
    lines.push(`${counted(drawn, 'triangle')}, ${inBytes(bytes)} decoded · Trimora ${version}`);
    foot.replaceChildren(...lines.map(line => element('p', {}, line)));
}

/** A triangle that was picked: its number, corners, coordinates, and the findings that hold it. */
function fillPicked(card, surface, t, choose, close) {
    const corners = surface.cornersOf(t).map(v => element('tr', {},
        element('th', { scope: 'row' }, `vertex ${surface.vertexNumber(v)}`),
        ...surface.coordinatesOf(v).map((x, axis) => element('td', {}, coordinateInDigits(surface.description, x, axis)))));
    const found = findingsAt(surface, t);
    const items = found.map(({ index, place }) => {
        const finding = surface.description.findings[index];
        return element('li', {}, button({}, () => choose(index, place), severitySign(finding.severity),
            element('span', {}, finding.title)));
    });
    card.replaceChildren(element('h2', {}, `Triangle ${surface.triangleNumber(t)}`),
        button({ class: 'close', 'aria-label': 'Close' }, close, '×'),
        element('table', {}, element('tbody', {}, ...corners)),
        found.length > 0 ? element('ul', {}, ...items) : element('p', {}, 'No finding holds it.'));
}
