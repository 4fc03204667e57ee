// Small charts on a canvas: lines over frames, histograms, a sine through samples.

import {sharpContext, styleColor} from './dom.js';
import {short} from './quantities.js';

const left = 44;
const bottom = 16;

function frameOf(canvas, xs, ys) {
    const {context, width, height} = sharpContext(canvas);
    context.font = `10px ${styleColor('--sans')}`;
    const finite = ys.filter(Number.isFinite);
    let low = Math.min(...finite);
    let high = Math.max(...finite);
    if (!(high > low)) {
        const half = Math.max(Math.abs(low) * 0.01, 1e-6);
        [low, high] = [low - half, high + half];
    }
    const [first, last] = [Math.min(...xs), Math.max(...xs)];
    const x = value => left + (width - left - 6) * (last > first ? (value - first) / (last - first) : 0.5);
    const y = value => 6 + (height - bottom - 6) * (1 - (value - low) / (high - low));
    context.fillStyle = styleColor('--soft');
    context.strokeStyle = styleColor('--line');
    context.lineWidth = 1;
    context.textAlign = 'right';
    for (const share of [0, 0.5, 1]) {
        const value = low + share * (high - low);
        const row = Math.round(y(value)) + 0.5;
        context.beginPath();
        context.moveTo(left, row);
        context.lineTo(width - 6, row);
        context.stroke();
        context.fillText(short(value), left - 6, row + 3);
    }
    context.textAlign = 'left';
    context.fillText(short(first).replace(/\.0+$/, ''), left, height - 3);
    context.textAlign = 'right';
    context.fillText(short(last).replace(/\.0+$/, ''), width - 6, height - 3);
    return {context, x, y, width, height};
}

/** @param {{color: string, points: [number, number][]}[]} lines */
export function drawLines(canvas, lines, mark) {
    const points = lines.flatMap(line => line.points);
    if (points.length === 0) {
        sharpContext(canvas);
        return;
    }
    const {context, x, y, height} = frameOf(canvas, points.map(point => point[0]), points.map(point => point[1]));
    for (const line of lines) {
        context.strokeStyle = context.fillStyle = styleColor(line.color);
        context.lineWidth = 1.5;
        context.beginPath();
        line.points.forEach(([a, b], k) => (k === 0 ? context.moveTo(x(a), y(b)) : context.lineTo(x(a), y(b))));
        context.stroke();
        if (line.points.length < 60) {
            for (const [a, b] of line.points) {
                context.beginPath();
                context.arc(x(a), y(b), 2, 0, 7);
                context.fill();
            }
        }
    }
    if (mark !== undefined) {
        context.strokeStyle = styleColor('--accent');
        context.beginPath();
        context.moveTo(x(mark), 6);
        context.lineTo(x(mark), height - bottom);
        context.stroke();
    }
}

/** Counts of values in bins of equal width. */
export function drawHistogram(canvas, values, bins = 48) {
    const low = Math.min(...values);
    const high = Math.max(...values);
    if (!(high > low)) {
        return drawLines(canvas, [{color: '--accent', points: [[low, values.length]]}]);
    }
    const counts = new Array(bins).fill(0);
    for (const value of values) {
        ++counts[Math.min(Math.floor((value - low) / (high - low) * bins), bins - 1)];
    }
    const {context, x, y} = frameOf(canvas, [low, high], [0, Math.max(...counts)]);
    context.fillStyle = styleColor('--accent');
    counts.forEach((count, k) => {
        const from = x(low + k * (high - low) / bins);
        const to = x(low + (k + 1) * (high - low) / bins);
        context.fillRect(from, y(count), Math.max(to - from - 0.5, 0.5), y(0) - y(count));
    });
}

/** Four samples a quarter turn apart and the sine that fits them best. */
export function drawSine(canvas, samples) {
    const mean = samples.reduce((sum, value) => sum + value, 0) / 4;
    const a = (samples[0] - samples[2]) / 2;
    const b = (samples[1] - samples[3]) / 2;
    const curve = [];
    for (let k = 0; k <= 90; ++k) {
        const angle = 4 * k;
        const turn = angle * Math.PI / 180;
        curve.push([angle, mean + a * Math.cos(turn) + b * Math.sin(turn)]);
    }
    const {context, x, y} = frameOf(canvas, [0, 360], [...curve.map(point => point[1]), ...samples]);
    context.strokeStyle = styleColor('--accent');
    context.lineWidth = 1.5;
    context.beginPath();
    curve.forEach(([angle, value], k) => (k === 0 ? context.moveTo(x(angle), y(value)) : context.lineTo(x(angle), y(value))));
    context.stroke();
    context.fillStyle = styleColor('--ink');
    samples.forEach((value, k) => {
        context.beginPath();
        context.arc(x(90 * k), y(value), 3, 0, 7);
        context.fill();
    });
    return {mean, amplitude: Math.hypot(a, b), symmetry: samples[0] - samples[1] + samples[2] - samples[3]};
}
