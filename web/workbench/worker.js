// The pipeline's thread: holds the module and one recording, and answers the page's calls one after the other.

/** @typedef {{name: string, map: string, limits: [number, number] | null}} Panel */

const pixelCount = 224 * 172;
const sliceMilliseconds = 25;  // of indexing between two calls
const stretchMilliseconds = 80;  // of a frame's computation between two calls

let module_;
let mounted = 0;
let recording = 0;  // its number, so that the indexing of an earlier one ends
let computation = 0;  // its number, so that one that is no longer wanted ends

const text = (name, types = [], values = []) => JSON.parse(module_.ccall(name, 'string', types, values));

/** Throws the sentence of a document that has a failure. */
function checked(document_) {
    if (document_.failure) {
        throw new Error(document_.failure);
    }
    return document_;
}

function mount(file) {
    const folder = `/recording${++mounted}`;
    module_.FS.mkdir(folder);
    module_.FS.mount(module_.WORKERFS, {blobs: [{name: file.name, data: file.data}]}, folder);
    module_.FS.chdir(folder);  // so that sentences name the file as the user knows it
    return file.name === '-' ? './-' : file.name;
}

function grow(number) {
    if (number !== recording) {
        return;
    }
    const progress = text('session_index', ['number'], [sliceMilliseconds]);
    postMessage({progress});
    if (!progress.isComplete && !progress.failure) {
        setTimeout(() => grow(number), 0);
    }
}

/** The limits of a scale that holds all but the farthest hundredth on each side. */
function automaticLimits(name, figures) {
    if (!figures) {
        return [0, 1];
    }
    const {low, high} = figures;
    if (name === 'error') {
        const most = Math.max(Math.abs(low), Math.abs(high), 1e-4);
        return [-most, most];
    }
    if (name === 'noise') {
        return [0, Math.max(high, 1e-4)];
    }
    return high > low ? [low, high] : [low - 0.5, low + 0.5];
}

/** The same for raw samples, whole numbers from 0 to 4095, of which all but the farthest two hundredth are held. */
function rawLimits(values) {
    const counts = new Uint32Array(4096);
    for (const value of values) {
        ++counts[value];
    }
    const at = share => {
        let rest = Math.floor(share * values.length);
        return counts.findIndex(count => (rest -= count) < 0);
    };
    return [at(0.005), Math.max(at(0.995), 1)];
}

/** @param {Panel} panel */
function paint(panel, figures) {
    const limits = panel.limits ??
        (panel.name.startsWith('raw') ? rawLimits(image(panel.name) ?? []) : automaticLimits(panel.name, figures?.[panel.name]));
    const address = module_.ccall('session_paint', 'number', ['string', 'string', 'number', 'number'],
                                  [panel.name, panel.map, limits[0], limits[1]]);
    return {name: panel.name, number: panel.number, limits,
            pixels: address === 0 ? null : new Uint8ClampedArray(module_.HEAPU8.slice(address, address + 4 * pixelCount).buffer)};
}

const addressOf = name => module_.ccall('session_image', 'number', ['string'], [name]);

function image(name) {
    const address = addressOf(name);
    return address === 0 ? null : module_.HEAPF32.slice(address / 4, address / 4 + pixelCount);
}

/** The images of an answer, which are handed over in place of copied. */
const buffersOf = value => [...Object.values(value?.images ?? {}), ...(value?.panels ?? []).map(panel => panel.pixels)]
    .filter(Boolean).map(array => array.buffer);

/** Computes in stretches, so that calls in between are heard; null if it is no longer wanted. */
async function reportOf(frame, settings, runIn, isWanted) {
    let milliseconds = 0;
    while (isWanted()) {
        const begin = performance.now();
        const report = checked(text('session_compute', ['number', 'string', 'number', 'number'], [frame, settings, runIn, stretchMilliseconds]));
        milliseconds += performance.now() - begin;
        if (report.reached === undefined) {
            return {...report, milliseconds};
        }
        postMessage({reached: report.reached});
        await new Promise(resolve => setTimeout(resolve, 0));
    }
    return null;
}

const calls = {
    async init({wasm}) {
        module_ = await createSession({wasmBinary: wasm, print() {}, printErr() {}});
        const maps = {};
        for (const map of ['turbo', 'viridis', 'grey', 'blueWhiteRed']) {
            const address = module_.ccall('session_colors', 'number', ['string'], [map]);
            maps[map] = module_.HEAPU8.slice(address, address + 4096);
        }
        return {maps};
    },

    /** Opens a recording; answers when its first frame is whole. */
    open({file, frame}) {
        ++recording;
        ++computation;
        checked(text('session_open', ['string'], [mount(file)]));
        const latest = performance.now() + 500;  // a far frame comes when the index has grown to it
        let progress;
        do {
            progress = text('session_index', ['number'], [5]);
        } while (!progress.isComplete && (progress.frames === 0 || (progress.frames <= frame && performance.now() < latest)));
        const settings = text('session_settings');
        const number = recording;
        setTimeout(() => grow(number), 0);
        return {progress, settings: Array.isArray(settings) ? settings : []};
    },

    /** Answers null if another call takes its place on the way. */
    async compute({frame, settings, runIn, panels, images}) {
        const number = ++computation;
        const report = await reportOf(frame, settings, runIn, () => number === computation);
        if (report === null) {
            return null;
        }
        const values = Object.fromEntries(images.map(name => [name, image(name)]));
        return {frame, report, panels: panels.map(panel => paint(panel, report.figures)), images: values};
    },

    /** Ends a computation that is under way; no answer is wanted any more. */
    abandon() {
        ++computation;
    },

    /** The four samples and all others of one pixel. */
    samples({count, pixel}) {
        return Array.from({length: count}, (_, k) => {
            const address = addressOf(`raw${k}`);
            return address === 0 ? undefined : module_.HEAPF32[address / 4 + pixel];
        });
    },

    result() {
        const address = module_.ccall('session_result', 'number', [], []);
        const size = module_.ccall('session_result_size', 'number', [], []);
        return module_.HEAPU8.slice(address, address + size);
    },
};

onmessage = async ({data: {id, call, argument}}) => {
    try {
        const value = await calls[call](argument);
        postMessage({id, value}, buffersOf(value));
    } catch (error) {
        postMessage({id, failure: error.message ?? String(error)});
    }
};
