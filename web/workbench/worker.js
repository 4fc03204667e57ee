// The pipeline's thread: holds the module and one recording, and answers the page's calls one after the other.

/** @typedef {{name: string, map: string, limits: [number, number] | null}} Panel */

const pixelCount = 224 * 172;
const sliceMilliseconds = 25;  // of indexing between two calls

let module_;
let mounted = 0;
let recording = 0;  // its number, so that the indexing of an earlier one ends

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
    return `${folder}/${file.name}`;
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

function rawLimits(values) {
    const sorted = Float32Array.from(values).sort();
    return [sorted[Math.floor(0.005 * sorted.length)], Math.max(sorted[Math.floor(0.995 * sorted.length)], 1)];
}

/** @param {Panel} panel */
function paint(panel, figures) {
    const limits = panel.limits ??
        (panel.name.startsWith('raw') ? rawLimits(image(panel.name) ?? [0]) : automaticLimits(panel.name, figures?.[panel.name]));
    const address = module_.ccall('session_paint', 'number', ['string', 'string', 'number', 'number'],
                                  [panel.name, panel.map, limits[0], limits[1]]);
    return {name: panel.name, limits,
            pixels: address === 0 ? null : new Uint8ClampedArray(module_.HEAPU8.slice(address, address + 4 * pixelCount).buffer)};
}

function image(name) {
    const address = module_.ccall('session_image', 'number', ['string'], [name]);
    return address === 0 ? null : module_.HEAPF32.slice(address / 4, address / 4 + pixelCount);
}

/** The images of an answer, which are handed over in place of copied. */
const buffersOf = value => [...Object.values(value?.images ?? {}), ...(value?.panels ?? []).map(panel => panel.pixels)]
    .filter(Boolean).map(array => array.buffer);

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

    compute({frame, settings, runIn, panels, images}) {
        const begin = performance.now();
        const report = checked(text('session_compute', ['number', 'string', 'number'], [frame, settings, runIn]));
        const computed = performance.now() - begin;
        const painted = panels.map(panel => paint(panel, report.figures));
        const values = {};
        for (const name of images) {
            values[name] = image(name);
        }
        return {report, panels: painted, images: values, milliseconds: computed};
    },

    /** The four samples and all others of one pixel. */
    samples({count, pixel}) {
        const samples = [];
        for (let k = 0; k < count; ++k) {
            samples.push(image(`raw${k}`)?.[pixel]);
        }
        return samples;
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
