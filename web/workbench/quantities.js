// The images of a frame: their names, units, colours and how a value reads.

export const imageWidth = 224;
export const imageHeight = 172;

/** @typedef {{title: string, unit: string, factor: number, digits: number, map: string}} Quantity */

/** @type {Object<string, Quantity>} */
export const quantities = {
    distance: {title: 'Distance', unit: 'm', factor: 1, digits: 4, map: 'turbo'},
    amplitude: {title: 'Amplitude', unit: 'counts/µs', factor: 1, digits: 3, map: 'viridis'},
    confidence: {title: 'Confidence', unit: '', factor: 1, digits: 0, map: 'states'},
    noise: {title: 'Noise', unit: 'mm', factor: 1000, digits: 2, map: 'viridis'},
    intensity: {title: 'Intensity', unit: 'counts', factor: 1, digits: 0, map: 'grey'},
    error: {title: 'Error against truth', unit: 'mm', factor: 1000, digits: 2, map: 'blueWhiteRed'},
    raw: {title: 'Raw phase', unit: 'counts', factor: 1, digits: 0, map: 'grey'},
};

export const mapNames = {turbo: 'Turbo', viridis: 'Viridis', grey: 'Grey', blueWhiteRed: 'Blue, white, red'};

export const quantityOf = name => quantities[name.startsWith('raw') ? 'raw' : name];

export function reading(name, value) {
    const {factor, digits} = quantityOf(name);
    return value === undefined || Number.isNaN(value) ? '–' : (value * factor).toFixed(digits);
}

/** A number with three to four digits. */
export function short(value) {
    if (!Number.isFinite(value)) {
        return '–';
    }
    const size = Math.abs(value);
    const digits = size >= 100 ? 0 : size >= 10 ? 1 : size >= 1 ? 2 : 3;
    return value.toFixed(digits);
}

const bits = [[0x01, 'invalid'], [0x02, 'saturated'], [0x04, 'asymmetric'], [0x08, 'low amplitude or too noisy'],
              [0x10, 'from the last exposure'], [0x20, 'no assignment'], [0x40, 'bit 0x40'], [0x80, 'bit 0x80']];

/** The bits of a confidence in words. */
export function confidenceInWords(value) {
    const words = bits.filter(([bit]) => (value & bit) !== 0).map(([, word]) => word);
    return (value & 1) === 0 ? ['valid', ...words].join(', ') : words.join(', ');
}

/** 1: the pixel has a distance to work with. */
export const isUsable = (confidence, distance) => (confidence & 1) === 0 && Number.isFinite(distance) && distance > 0;
