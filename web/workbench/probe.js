// All that is known of one pixel.

import {drawLines, drawSine} from './charts.js';
import {h} from './dom.js';
import {confidenceInWords, imageWidth, quantities, reading, short} from './quantities.js';

const row = (name, value, unit = '') => h('tr', {}, h('th', {scope: 'row'}, name), h('td', {}, value), h('td', {class: 'unit'}, unit));

export class Probe {
    constructor() {
        this.place = h('p', {class: 'place'}, 'Point at a pixel; click to keep it.');
        this.table = h('table', {class: 'values'});
        this.sines = h('div', {class: 'sines'});
        this.history = h('canvas', {class: 'chart', role: 'img', 'aria-label': 'Distance of the pixel over frames'});
        this.element = h('div', {}, this.place, this.table, h('h3', {}, 'Samples and the sine that fits them'), this.sines,
                         h('h3', {}, 'Distance over frames, metres'), this.history);
    }

    /** @param {{x: number, y: number} | null} pixel */
    show(pixel, images, kept) {
        if (!pixel || !images.distance) {
            return;
        }
        const i = pixel.y * imageWidth + pixel.x;
        this.place.textContent = `Column ${pixel.x}, row ${pixel.y}${kept ? ' (kept)' : ''}`;
        const rows = ['distance', 'amplitude', 'noise', 'intensity', 'error'].filter(name => images[name])
            .map(name => row(quantities[name].title, reading(name, images[name][i]), quantities[name].unit));
        rows.splice(2, 0, row('Confidence', `0x${(images.confidence[i] ?? 0).toString(16).padStart(2, '0')}`), h('tr', {}, h('td', {colSpan: 3, class: 'words'}, confidenceInWords(images.confidence[i]))));
        if (images.X) {
            rows.push(...['X', 'Y', 'Z'].map(axis => row(axis, images[axis][i].toFixed(4), 'm')));
        }
        this.table.replaceChildren(...rows);
    }

    /** Groups of four samples as sines. */
    showSamples(samples, raw) {
        const charts = [];
        const phases = raw.map((info, k) => ({...info, sample: samples[k]})).filter(info => !info.isIntensity);
        for (let k = 0; k + 4 <= phases.length; k += 4) {
            const canvas = h('canvas', {class: 'chart small', role: 'img', 'aria-label': `Samples of frequency ${phases[k].frequency}`});
            charts.push({canvas, samples: phases.slice(k, k + 4).map(phase => phase.sample), info: phases[k], note: h('figcaption', {})});
        }
        this.sines.replaceChildren(...charts.map(({canvas, note}) => h('figure', {}, canvas, note)));
        for (const {canvas, samples: four, info, note} of charts) {
            const fit = drawSine(canvas, four);
            note.textContent = `f${info.frequency} · ${info.exposure} µs · amplitude ${short(2 * fit.amplitude)} · asymmetry ${short(Math.abs(fit.symmetry))}`;
        }
    }

    showHistory(points, frame) {
        drawLines(this.history, [{color: '--accent', points}], frame);
    }
}
