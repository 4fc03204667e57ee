// The workbench: opens recordings, asks the pipeline for frames, and shows them.

import {drawHistogram, drawLines} from './charts.js';
import {Cloud} from './cloud.js';
import {byId, forgetStyleColors, h} from './dom.js';
import {Engine, embeddedBytes} from './engine.js';
import {fragmentOf, stateOf} from './link.js';
import {Panel, view} from './panels.js';
import {Probe} from './probe.js';
import {imageHeight, imageWidth, isUsable, quantities, quantityOf, short} from './quantities.js';
import {pixelsIn, planeThrough, statistics, valuesIn} from './region.js';
import {SettingsList, changesIn, commandLine, settingsText} from './settings.js';

const imageNames = ['distance', 'amplitude', 'confidence', 'noise', 'intensity', 'error', 'X', 'Y', 'Z'];
const keptFrames = 400;  // whose figures and pixel histories stay

/** One of the two sides that are compared: its thread, its recording, its settings, its latest frame. */
class Side {
    constructor(letter, onProgress) {
        this.letter = letter;
        this.engine = new Engine(progress => onProgress(this, progress), reached => onReached(this, reached));
        this.isUnderway = false;  // on a way of many frames
        this.changes = new Map();
        this.settings = [];
        this.outcome = null;
        this.history = new Map();
        this.progress = {frames: 0};
        this.file = null;
    }

    async open(file) {
        this.file = file;
        this.history.clear();
        this.outcome = null;
        const {progress, settings} = await this.engine.call('open', {file, frame: state.frame});
        this.progress = progress;
        this.settings = settings;
    }

    /** Frames that a filter over time looks back on; without one, each frame stands alone. */
    runIn(frame) {
        const changed = [...this.changes].find(([expression]) => expression.endsWith('.temporalFilter'))?.[1];
        const recorded = this.settings.find(setting => setting.expression.endsWith('.temporalFilter'));
        const name = changed ?? recorded?.names?.find(({value}) => value === recorded.values[0])?.name ?? 'none';
        return name === 'none' || name === '0' ? 0 : frame;
    }
}

const state = {...stateOf(location.hash), editing: 'A', region: [], drawing: null, rawShown: 0};
state.wanted = state.frame;  // which the index may not have reached
let maps = {};
let sideA;
let sideB = null;
let panels = [];
let underway = null;  // the promise of an update
let again = false;
let playing = false;
let hovered = null;

const probe = new Probe();
const settingsList = new SettingsList(changes => {
    editedSide().changes = new Map(changes);
    editedSide().history.clear();
    update();
});
const cloudCanvas = h('canvas', {class: 'cloud', id: 'cloud', tabIndex: 0, role: 'img', 'aria-label': 'Point cloud; arrow keys turn it, plus and minus zoom'});
let cloud;

const editedSide = () => (state.editing === 'B' && sideB ? sideB : sideA);
const say = (text, isProblem = false) => {
    byId('message').textContent = text;
    byId('message').classList.toggle('problem', isProblem);
};

// --- Asking for a frame ---------------------------------------------------------------------------------------------

function computeOn(side, ownPanels) {
    return side.engine.call('compute', {frame: Math.min(state.frame, Math.max(side.progress.frames - 1, 0)),
                                        settings: settingsText(side.changes), runIn: side.runIn(state.frame),
                                        panels: ownPanels.map((panel, number) => ({...panel.request(), number, isVisible: panel.isVisible})).filter(panel => panel.isVisible), images: imageNames});
}

const panelsOf = side => panels.filter(panel => panel.side === side);

/** Shows the frame with the settings as they are now. Calls that come in the meantime become one. */
function update() {
    if (!sideA?.progress.frames) {
        return Promise.resolve();
    }
    if (underway) {
        again = true;
        abandonLongWays();
        return underway;
    }
    underway = followWishes().finally(() => { underway = null; });
    return underway;
}

async function followWishes() {
    do {
        again = false;
        const begin = performance.now();
        try {
            again ||= !await computeAndShow(begin);
        } catch (error) {
            say(error.message, true);
        }
        document.body.dataset.updates = Number(document.body.dataset.updates ?? 0) + 1;
    } while (again);
}

/** False if something else is wanted by now. */
async function computeAndShow(begin) {
    const sides = sideB ? [sideA, sideB] : [sideA];
    const outcomes = await Promise.all(sides.map(side => computeOn(side, panelsOf(side)))).finally(() => {
        sides.forEach(side => { side.isUnderway = false; });
    });
    if (outcomes.includes(null)) {
        return false;
    }
    outcomes.forEach((outcome, k) => take(sides[k], outcome));
    showDifferences();
    showAll();
    const milliseconds = performance.now() - begin;
    byId('time').textContent = `${milliseconds.toFixed(0)} ms to the image, ${outcomes[0].report.milliseconds.toFixed(1)} ms of it the pipeline`;
    document.body.dataset.milliseconds = milliseconds.toFixed(2);
    document.body.dataset.pipeline = outcomes[0].report.milliseconds.toFixed(2);
    const troubles = outcomes.flatMap(outcome => outcome.report.troubles);
    say(troubles.length > 0 ? troubles[0] : damageOf(), troubles.length > 0 || damageOf() !== '');
    return true;
}

function abandonLongWays() {
    [sideA, sideB].filter(side => side?.isUnderway).forEach(side => side.engine.call('abandon'));
}

const damageOf = () => sideA.progress.damage || '';

function take(side, outcome) {
    side.outcome = outcome;
    if (side.history.size >= keptFrames) {
        side.history.delete(side.history.keys().next().value);
    }
    side.history.set(outcome.frame, {distance: outcome.images.distance, raw: outcome.report.raw, proposals: outcome.report.proposals});
    outcome.panels.forEach(painted => {
        const panel = panelsOf(side)[painted.number];
        if (panel?.name !== painted.name) {  // the panels were laid out anew meanwhile
            return;
        }
        panel.take(painted, marks);
        if (panel.name === 'confidence' && outcome.report.states) {
            panel.showStates(outcome.report.states);
        }
    });
}

// --- Panels ---------------------------------------------------------------------------------------------------------

const host = {
    get maps() { return maps; },
    onHover(place) { hovered = place; showProbe(); },
    onPick(place) {
        if (state.drawing === 'polygon' && place) {
            state.region.push([place.x + 0.5, place.y + 0.5]);
        } else if (!state.drawing) {
            state.pixel = place;
            showSamples();
            remember();
        }
        redraw();
        showRegion();
    },
    onPress(place) { if (state.drawing === 'rectangle' && place) { state.corner = place; } },
    isDrawing: () => state.drawing !== null,
    onView: () => redrawSoon(),
    onScale: () => update(),
    onAppear: panel => { if (panel.side?.outcome) { update(); } },
    onKey(event, panel) {
        const action = keyAction(event, panel);
        if (action) {
            event.preventDefault();
            event.stopPropagation();
            action();
        }
    },
};

/** What a key does while an image has the focus. */
function keyAction(event, panel) {
    const step = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]}[event.key];
    if (step) {
        return () => (event.shiftKey ? panel.pan(20 * step[0], 20 * step[1]) : movePixel(...step));
    }
    const zoom = {'+': 1.25, '=': 1.25, '-': 0.8}[event.key];
    if (zoom) {
        return () => panel.zoomAt(state.pixel ?? {x: imageWidth / 2, y: imageHeight / 2}, zoom);
    }
    return state.drawing && (event.key === 'Enter' || event.key === ' ') ? setCorner : null;
}

function movePixel(dx, dy) {
    const from = state.pixel ?? {x: imageWidth / 2, y: imageHeight / 2};
    state.pixel = {x: Math.max(0, Math.min(imageWidth - 1, from.x + dx)), y: Math.max(0, Math.min(imageHeight - 1, from.y + dy))};
    if (state.drawing === 'rectangle' && state.corner) {
        stretchRectangle(state.pixel);
    }
    redraw();
    showProbe();
    showSamples();
    remember();
}

/** At the kept pixel, by key: a corner of the polygon, the first or the opposite corner of the rectangle. */
function setCorner() {
    state.pixel ??= {x: imageWidth / 2, y: imageHeight / 2};
    if (state.drawing === 'polygon') {
        state.region.push([state.pixel.x + 0.5, state.pixel.y + 0.5]);
        redraw();
        showRegion();
    } else if (state.corner) {
        state.corner = null;
        draw('rectangle');
    } else {
        state.corner = state.pixel;
        stretchRectangle(state.pixel);
        redraw();
    }
}

/** The kept pixel and the region, in the coordinates of the image. */
function marks(context, size) {
    context.lineWidth = 1.5 / size;
    context.strokeStyle = '#fff';
    context.shadowColor = '#000';
    context.shadowBlur = 3;
    if (state.pixel) {
        context.strokeRect(state.pixel.x - 1, state.pixel.y - 1, 3, 3);
    }
    if (state.region.length > 0) {
        context.beginPath();
        state.region.forEach(([x, y], k) => (k === 0 ? context.moveTo(x, y) : context.lineTo(x, y)));
        context.closePath();
        context.stroke();
    }
}

function redraw() {
    panels.forEach(panel => panel.draw(marks));
}

let redrawing = 0;

/** Once for all calls until the next picture of the screen. */
function redrawSoon() {
    redrawing ||= requestAnimationFrame(() => { redrawing = 0; redraw(); });
}

function layOutPanels() {
    const grid = byId('panels');
    if (sideB) {
        panels = ['distance', 'amplitude'].flatMap(name => {
            const {title} = quantities[name];
            const a = Object.assign(new Panel(name, host, `A · ${title}`), {side: sideA});
            const b = Object.assign(new Panel(name, host, `B · ${title}`), {side: sideB});
            const difference = Object.assign(new Panel(name, host, 'A − B'), {side: null, isDifference: true, map: 'blueWhiteRed'});
            return [a, b, difference];
        });
    } else {
        panels = ['distance', 'amplitude', 'confidence', 'noise', 'intensity', 'error', `raw${state.rawShown}`]
            .map(name => Object.assign(new Panel(name, host), {side: sideA}));
        addRawChoice(panels.at(-1));
    }
    grid.classList.toggle('comparing', sideB !== null);
    grid.replaceChildren(...panels.map(panel => panel.element));
}

function addRawChoice(panel) {
    const choice = h('select', {class: 'map', 'aria-label': 'Raw phase', onchange: () => {
        state.rawShown = Number(choice.value);
        panel.name = `raw${state.rawShown}`;
        update();
    }});
    panel.rawChoice = choice;
    panel.heading.after(choice);
}

function showRawChoice(raw) {
    const choice = panels.at(-1).rawChoice;
    if (!choice || choice.length === raw.length) {
        return;
    }
    choice.replaceChildren(...raw.map((image, k) =>
        h('option', {value: k, selected: k === state.rawShown}, image.isIntensity ? `${k}: intensity` : `${k}: f${image.frequency}, ${image.exposure} µs`)));
}

/** Four bytes a pixel; black where there is no value. */
function painted(values, limits, colors) {
    const palette = new Uint32Array(colors.buffer, colors.byteOffset, 1024);
    const pixels = new Uint32Array(values.length).fill(0xFF000000);
    const scale = 1023 / (limits[1] - limits[0]);
    for (let i = 0; i < values.length; ++i) {
        if (!Number.isNaN(values[i])) {
            pixels[i] = palette[Math.round(Math.max(0, Math.min(1023, (values[i] - limits[0]) * scale)))];
        }
    }
    return new Uint8ClampedArray(pixels.buffer);
}

/** A less B, in the colours of errors. */
function showDifferences() {
    for (const panel of panels.filter(each => each.isDifference)) {
        const [a, b] = [sideA.outcome.images, sideB.outcome.images];
        const difference = Float32Array.from(a[panel.name] ?? [], (value, i) =>
            (isUsable(a.confidence[i], a.distance[i]) && isUsable(b.confidence[i], b.distance[i]) ? value - b[panel.name][i] : NaN));
        const sizes = difference.filter(value => !Number.isNaN(value)).map(Math.abs).sort();
        const most = Math.max(sizes[Math.floor(0.99 * sizes.length)] ?? 0, 1e-6);
        const limits = panel.limits ?? [-most, most];
        panel.take({pixels: painted(difference, limits, maps[panel.map]), limits}, marks);
    }
}

// --- The right side -------------------------------------------------------------------------------------------------

const row = (...cells) => h('tr', {}, h('th', {scope: 'row'}, cells[0]), ...cells.slice(1).map(cell => h('td', {}, cell)));

function showProbe() {
    probe.show(hovered ?? state.pixel, sideA?.outcome?.images ?? {}, !hovered && state.pixel !== null);
}

async function showSamples() {
    if (state.tab !== 'pixel' || !state.pixel || !sideA.outcome) {
        return;
    }
    const {raw} = sideA.outcome.report;
    const pixel = state.pixel.y * imageWidth + state.pixel.x;
    probe.showSamples(await sideA.engine.call('samples', {count: raw.length, pixel}), raw);
    const points = [...sideA.history].map(([frame, kept]) => [frame, kept.distance?.[pixel]])
        .filter(point => point[1] > 0).sort((a, b) => a[0] - b[0]);
    probe.showHistory(points, state.frame);
}

function showRegion() {
    if (state.tab !== 'region' || !sideA.outcome) {
        return;
    }
    const {images} = sideA.outcome;
    const pixels = state.region.length > 2 ? pixelsIn(state.region) : [];
    const rows = [];
    for (const name of ['distance', 'amplitude', 'noise', 'intensity', 'error']) {
        const values = valuesIn(images, name, pixels);
        if (values.length > 0) {
            const {factor, unit, title} = quantityOf(name);
            const figures = statistics(values);
            rows.push(row(title, short(figures.mean * factor), short(figures.deviation * factor), short(figures.least * factor), short(figures.most * factor), unit));
        }
    }
    byId('region-figures').replaceChildren(...(rows.length > 0
        ? [h('thead', {}, h('tr', {}, ...['', 'mean', 'deviation', 'least', 'most', ''].map(text => h('th', {scope: 'col'}, text)))), h('tbody', {}, ...rows)]
        : [h('caption', {}, pixels.length > 0 ? `No usable pixel among ${pixels.length}.` : 'Choose a shape, then draw it on an image: with the pointer, or with the arrow keys and Enter.')]));
    const plane = planeThrough(images, pixels);
    byId('region-plane').textContent = plane
        ? `Plane through ${plane.points} points: ${(1000 * plane.deviation).toFixed(2)} mm deviation, ${plane.distance.toFixed(4)} m from the camera, tilted ${plane.tilt.toFixed(2)}°`
        : `${pixels.length} pixels`;
    const values = valuesIn(images, 'distance', pixels);
    byId('region-histogram').hidden = values.length === 0;
    if (values.length > 0) {
        drawHistogram(byId('region-histogram'), values);
    }
}

function showCloud() {
    if (state.tab !== 'cloud' || !sideA.outcome) {
        return;
    }
    cloud ??= new Cloud(cloudCanvas);
    const name = byId('cloud-color').value;
    const {images, report} = sideA.outcome;
    if (!cloud.gl) {
        say('This browser has no WebGL 2; the point cloud cannot be shown.', true);
        return;
    }
    if (!images.X) {
        byId('cloud-count').textContent = 'The frame has no coordinates (disableCalcCartesian).';
        return;
    }
    const panel = panels.find(each => each.name === name && each.side === sideA);
    const figures = report.figures?.[name];
    const limits = panel?.shown ?? (figures ? [figures.low, figures.high] : [0, 1]);
    cloud.show(images, {image: images[name] ?? images.distance, limits, colors: maps[panel?.map ?? quantityOf(name).map]}, byId('cloud-organised').checked);
    byId('cloud-count').textContent = `${cloud.count} points`;
    cloudCanvas.dataset.points = cloud.count;
}

function showTimes() {
    if (state.tab !== 'times' || !sideA.outcome?.report.stages) {
        return;
    }
    const {stages, raw, proposals} = sideA.outcome.report;
    const used = stages.filter(stage => stage.calls > 0);
    const most = Math.max(...used.map(stage => stage.milliseconds), 1e-6);
    byId('stages').replaceChildren(...used.map(stage => h('tr', {}, h('th', {scope: 'row'}, stage.stage.replace(/_/g, ' ')),
        h('td', {class: 'bar'}, h('i', {style: `width:${100 * stage.milliseconds / most}%`})), h('td', {}, stage.milliseconds.toFixed(2)))));
    const exposures = [...new Set(raw.filter(image => !image.isIntensity).map(image => image.exposure))];
    byId('exposures').textContent = `Exposure times ${exposures.join(', ')} µs` +
        (proposals ? `; proposed for the next frame: ${[...new Set([proposals.short, proposals.long])].filter(time => time > 0).join(', ')} µs` : '');
    const seen = [...sideA.history].sort((a, b) => a[0] - b[0]);
    const lines = ['--accent', '--second'].map((color, k) => ({color, points: seen.map(([frame, kept]) =>
        [frame, [...new Set(kept.raw.filter(image => !image.isIntensity).map(image => image.exposure))][k]]).filter(point => point[1] !== undefined)}));
    drawLines(byId('exposure-chart'), lines.filter(line => line.points.length > 0), state.frame);
    const {troubles} = sideA.outcome.report;
    byId('errors').replaceChildren(...(troubles.length > 0 ? troubles : ['None in this frame.']).map(text => h('li', {}, text)));
}

function showFigures() {
    const sides = sideB ? [sideA, sideB] : [sideA];
    const usable = side => {
        const {states} = side.outcome.report;
        const total = states.reduce((sum, each) => sum + each.pixels, 0);
        const valid = states.filter(each => each.name === 'valid' || each.name === 'valid, first exposure').reduce((sum, each) => sum + each.pixels, 0);
        return `${(100 * valid / total).toFixed(2)} %`;
    };
    const cells = (pick, factor = 1) => sides.map(side => { const value = pick(side); return typeof value === 'string' ? value : value === undefined ? '–' : short(value * factor); });
    const figure = (name, what) => side => side.outcome.report.figures?.[name]?.[what];
    if (!sides.every(side => side.outcome?.report.states)) {
        byId('figures').replaceChildren();
        return;
    }
    byId('figures').replaceChildren(
        h('thead', {}, h('tr', {}, h('th', {}), ...sides.map(side => h('th', {scope: 'col'}, sideB ? side.letter : 'Frame')))),
        h('tbody', {},
            row('Usable pixels', ...cells(usable)),
            row('Median distance, m', ...cells(figure('distance', 'median'))),
            row('Median amplitude', ...cells(figure('amplitude', 'median'))),
            row('Median noise predicted, mm', ...cells(figure('noise', 'median'), 1000)),
            row('Mean error, mm', ...cells(figure('error', 'mean'), 1000)),
            row('Deviation of the error, mm', ...cells(figure('error', 'deviation'), 1000))));
}

function showAll() {
    showRawChoice(sideA.outcome.report.raw);
    showProbe();
    showSamples();
    showRegion();
    showCloud();
    showTimes();
    showFigures();
    showFrame();
    byId('command').value = commandLine(editedSide().file.name, editedSide().changes);
    byId('changed-count').textContent = editedSide().changes.size === 0 ? '' : `${editedSide().changes.size} changed`;
    remember();
}

function showFrame() {
    const {frames, isComplete} = sideA.progress;
    byId('frame').max = Math.max(frames - 1, 0);
    byId('frame').value = state.frame;
    byId('frame-text').textContent = `${state.frame} / ${Math.max(frames - 1, 0)}${isComplete ? '' : '+'}`;
}

let remembering = 0;

/** Soon, and once for many changes: browsers take their time for it. */
function remember() {
    remembering ||= setTimeout(writeAddress, 200);
}

function writeAddress() {
    remembering = 0;
    history.replaceState(null, '', fragmentOf({...state, frame: state.wanted, changes: sideA.changes, changesB: sideB?.changes ?? new Map(), comparing: sideB !== null}));
}

// --- Recordings -----------------------------------------------------------------------------------------------------

function onProgress(side, progress) {
    if (progress.failure) {
        say(progress.failure, true);
        return;
    }
    side.progress = progress;
    if (side !== sideA) {
        return;
    }
    showFrame();
    if (state.wanted > state.frame && (progress.frames > state.wanted || progress.isComplete)) {
        goTo(state.wanted);
    }
    byId('index').textContent = progress.isComplete ? `${progress.frames} frames` : `${progress.frames} frames, ${Math.round(100 * progress.bytesRead / Math.max(progress.bytes, 1))} % read`;
    if (progress.isComplete && progress.damage) {
        say(progress.damage, true);
    }
}

/** A filter over time looks back on all frames before; the page stays usable meanwhile. */
function onReached(side, reached) {
    side.isUnderway = true;
    say(`On the way to frame ${state.frame}: ${reached} of ${state.frame} frames before it are done.`);
    if (again) {
        abandonLongWays();
    }
}

/** @param {{name: string, data: Blob}} file */
async function open(file, side = sideA) {
    say(`Opening ${file.name}`);
    document.body.dataset.opened = '';
    try {
        await side.open(file);
    } catch (error) {
        say(error.message, true);
        return;
    }
    if (side === sideA) {
        byId('name').textContent = file.name;
        document.title = `${file.name} – Qor`;
        byId('drop').hidden = true;
        byId('bench').hidden = false;
        state.frame = Math.min(state.wanted, Math.max(side.progress.frames - 1, 0));
        settingsList.take(side.settings);
        settingsList.replace(side.changes);
        layOutPanels();
    }
    onProgress(side, side.progress);
    if (side.progress.frames === 0) {
        say(side.progress.damage || `${file.name} holds no whole frame.`, true);
    }
    await update();
    document.body.dataset.firstImage ??= performance.now().toFixed(0);
    document.body.dataset.opened = file.name;
}

async function compare(on, file = sideA.file) {
    if (on && !sideB) {
        const side = new Side('B', onProgress);
        await side.engine.start();
        side.changes = new Map(state.changesB.size > 0 ? state.changesB : []);
        await side.open(file);
        sideB = side;
    } else if (!on && sideB) {
        sideB.engine.close();
        sideB = null;
        edit('A');
    } else if (on) {
        await open(file, sideB);
    }
    byId('compare').setAttribute('aria-pressed', String(sideB !== null));
    byId('sides').hidden = sideB === null;
    layOutPanels();
    await update();
}

function edit(letter) {
    state.editing = letter;
    byId('edit-a').setAttribute('aria-pressed', String(letter === 'A'));
    byId('edit-b').setAttribute('aria-pressed', String(letter === 'B'));
    settingsList.take(editedSide().settings);
    settingsList.replace(editedSide().changes);
    byId('command').value = commandLine(editedSide().file.name, editedSide().changes);
}

// --- Controls -------------------------------------------------------------------------------------------------------

/** A frame that the index has not reached is shown as soon as it has. */
function goTo(frame) {
    const last = Math.max(0, sideA.progress.frames - 1);
    state.wanted = Math.max(0, Number.isFinite(frame) && !sideA.progress.isComplete ? frame : Math.min(frame, last));
    state.frame = Math.min(state.wanted, last);
    showFrame();
    return update();
}

async function play(on) {
    playing = on;
    byId('play').textContent = on ? 'Pause' : 'Play';
    let shown = 0;
    const begin = performance.now();
    while (playing) {
        const next = state.frame + 1 < sideA.progress.frames ? state.frame + 1 : 0;
        const start = performance.now();
        await goTo(next);
        ++shown;
        document.body.dataset.rate = (1000 * shown / (performance.now() - begin)).toFixed(1);
        byId('rate').textContent = `${document.body.dataset.rate} frames/s`;
        await new Promise(resolve => setTimeout(resolve, Math.max(0, 1000 / 60 - (performance.now() - start))));
    }
}

function saveSettings() {
    const side = editedSide();
    const text = `# Settings for qor run ${side.file.name} --settings\n` +
        [...side.changes].map(([expression, value]) => `${expression} = ${value}\n`).join('');
    const link = h('a', {href: URL.createObjectURL(new Blob([text], {type: 'text/plain'})), download: 'settings.txt'});
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 1000);
}

async function loadSettings(file) {
    try {
        const changes = changesIn(await file.text());
        editedSide().changes = changes;
        settingsList.replace(changes);
        await update();
    } catch (error) {
        say(error.message, true);
    }
}

function choose(tab) {
    state.tab = tab;
    for (const button of document.querySelectorAll('[role=tab]')) {
        const chosen = button.dataset.tab === tab;
        button.setAttribute('aria-selected', String(chosen));
        button.tabIndex = chosen ? 0 : -1;
        byId(`tab-${button.dataset.tab}`).hidden = !chosen;
    }
    if (sideA?.outcome) {
        showAll();
    }
}

function draw(shape) {
    state.drawing = state.drawing === shape ? null : shape;
    state.corner = null;
    state.region = state.drawing ? [] : state.region;
    byId('rectangle').setAttribute('aria-pressed', String(state.drawing === 'rectangle'));
    byId('polygon').setAttribute('aria-pressed', String(state.drawing === 'polygon'));
    redraw();
    showRegion();
}

/** From the corner to another place, both pixels included. */
function stretchRectangle(place) {
    const [x0, x1] = [Math.min(state.corner.x, place.x), Math.max(state.corner.x, place.x) + 1];
    const [y0, y1] = [Math.min(state.corner.y, place.y), Math.max(state.corner.y, place.y) + 1];
    state.region = [[x0, y0], [x1, y0], [x1, y1], [x0, y1]];
}

function followRectangle(event) {
    if (state.drawing !== 'rectangle' || !state.corner) {
        return;
    }
    const panel = panels.find(each => each.canvas === event.target);
    const place = panel?.pixelAt(event);
    if (place) {
        stretchRectangle(place);
        redraw();
    }
    if (event.type === 'pointerup') {
        state.corner = null;
        draw('rectangle');
    }
}

function listen() {
    const filesOf = list => [...list].map(file => ({name: file.name, data: file}));
    const openFiles = async files => {
        if (files.length > 0) {
            await open(files[0]);
        }
        if (files.length > 1) {
            await compare(true, files[1]);
        }
    };
    byId('file').addEventListener('change', event => openFiles(filesOf(event.target.files)));
    document.body.addEventListener('dragover', event => event.preventDefault());
    document.body.addEventListener('drop', event => { event.preventDefault(); openFiles(filesOf(event.dataTransfer.files)); });
    byId('frame').addEventListener('input', event => goTo(Number(event.target.value)));
    byId('back').addEventListener('click', () => goTo(state.frame - 1));
    byId('forward').addEventListener('click', () => goTo(state.frame + 1));
    byId('play').addEventListener('click', () => play(!playing));
    byId('compare').addEventListener('click', () => compare(sideB === null));
    byId('edit-a').addEventListener('click', () => edit('A'));
    byId('edit-b').addEventListener('click', () => edit('B'));
    byId('save').addEventListener('click', saveSettings);
    byId('load').addEventListener('change', event => loadSettings(event.target.files[0]));
    byId('reset').addEventListener('click', () => { editedSide().changes = new Map(); settingsList.replace(new Map()); update(); });
    byId('copy').addEventListener('click', () => { byId('command').select(); document.execCommand('copy'); });
    byId('rectangle').addEventListener('click', () => draw('rectangle'));
    byId('polygon').addEventListener('click', () => draw('polygon'));
    byId('cloud-color').addEventListener('change', showCloud);
    byId('cloud-organised').addEventListener('change', showCloud);
    byId('settings-toggle').addEventListener('click', () => document.body.classList.toggle('settings-open'));
    for (const button of document.querySelectorAll('[role=tab]')) {
        button.addEventListener('click', () => choose(button.dataset.tab));
        button.addEventListener('keydown', event => {
            const tabs = [...document.querySelectorAll('[role=tab]')];
            const step = {ArrowLeft: -1, ArrowRight: 1}[event.key];
            if (step) {
                const next = tabs[(tabs.indexOf(button) + step + tabs.length) % tabs.length];
                choose(next.dataset.tab);
                next.focus();
                event.stopPropagation();
            }
        });
    }
    for (const name of ['pointermove', 'pointerup']) {
        byId('panels').addEventListener(name, followRectangle);
    }
    addEventListener('resize', () => { redraw(); cloud?.draw(); });
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => { forgetStyleColors(); redraw(); if (sideA?.outcome) { showAll(); } });
    addEventListener('keydown', event => {
        if (/^(INPUT|SELECT|TEXTAREA)$/.test(event.target.tagName) || event.ctrlKey || event.metaKey || !sideA?.outcome) {
            if (event.key === 'Escape') {
                event.target.blur();
            }
            return;
        }
        const actions = {ArrowLeft: () => goTo(state.frame - 1), ArrowRight: () => goTo(state.frame + 1), Home: () => goTo(0),
                         End: () => goTo(Infinity), ' ': () => play(!playing), '/': () => byId('settings-search').focus(),
                         c: () => compare(sideB === null)};
        if (actions[event.key] && event.target.tagName !== 'BUTTON') {
            event.preventDefault();
            actions[event.key]();
        }
    });
}

async function start() {
    byId('settings').append(settingsList.element);
    byId('tab-pixel').append(probe.element);
    byId('cloud-place').append(cloudCanvas);
    choose(['pixel', 'region', 'cloud', 'times'].includes(state.tab) ? state.tab : 'pixel');
    listen();
    sideA = new Side('A', onProgress);
    sideA.changes = state.changes;
    ({maps} = await sideA.engine.start());
    const recordings = [...document.querySelectorAll('script.recording')];
    const files = await Promise.all(recordings.map(async element =>
        ({name: element.dataset.name, data: new Blob([await embeddedBytes(element)])})));
    document.body.dataset.ready = 'yes';
    if (files.length > 0) {
        await open(files[0]);
        if (recordings[0].dataset.note) {
            byId('index').title = recordings[0].dataset.note;
            byId('note').textContent = recordings[0].dataset.note;
        }
        if (files.length > 1 || state.comparing) {
            await compare(true, files[1] ?? files[0]);
        }
    }
    // For tests and for the curious: the side's calls.
    window.workbench = {get sideA() { return sideA; }, get sideB() { return sideB; }, get panels() { return panels; }, get cloud() { return cloud; }, settingsList, goTo, update, settled: () => underway ?? Promise.resolve()};
}

start().catch(error => say(`The workbench cannot start: ${error.message}`, true));
