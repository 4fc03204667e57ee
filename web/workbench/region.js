// A rectangle or polygon of the image: its pixels, their statistics and the plane through their points.

import {imageWidth, isUsable} from './quantities.js';

/** Whether the centre of a pixel lies in the polygon of corners [x, y]. */
export function contains(corners, px, py) {
    let inside = false;
    for (let i = 0, j = corners.length - 1; i < corners.length; j = i++) {
        const [xi, yi] = corners[i];
        const [xj, yj] = corners[j];
        if (yi > py !== yj > py && px < (xj - xi) * (py - yi) / (yj - yi) + xi) {
            inside = !inside;
        }
    }
    return inside;
}

/** The numbers of the pixels in a polygon. */
export function pixelsIn(corners) {
    const xs = corners.map(corner => corner[0]);
    const ys = corners.map(corner => corner[1]);
    const pixels = [];
    for (let y = Math.max(Math.floor(Math.min(...ys)), 0); y < Math.min(Math.max(...ys), 172); ++y) {
        for (let x = Math.max(Math.floor(Math.min(...xs)), 0); x < Math.min(Math.max(...xs), imageWidth); ++x) {
            if (contains(corners, x + 0.5, y + 0.5)) {
                pixels.push(y * imageWidth + x);
            }
        }
    }
    return pixels;
}

export function statistics(values) {
    const count = values.length;
    const mean = values.reduce((sum, value) => sum + value, 0) / count;
    const variance = values.reduce((sum, value) => sum + (value - mean) ** 2, 0) / Math.max(count - 1, 1);
    const sorted = Float64Array.from(values).sort();
    return {count, mean, deviation: Math.sqrt(variance), least: sorted[0], median: sorted[count >> 1], most: sorted[count - 1]};
}

/** The usable values of an image in a region. */
export function valuesIn(images, name, pixels) {
    const image = images[name];
    const all = name === 'intensity';
    return image ? pixels.filter(i => Number.isFinite(image[i]) && (all || isUsable(images.confidence[i], images.distance[i]))).map(i => image[i]) : [];
}

/** Solves a symmetric system of three equations by elimination. */
function solve(matrix, right) {
    const rows = matrix.map((row, k) => [...row, right[k]]);
    for (let k = 0; k < 3; ++k) {
        const pivot = rows.slice(k).reduce((best, row, i) => (Math.abs(row[k]) > Math.abs(rows[best][k]) ? k + i : best), k);
        [rows[k], rows[pivot]] = [rows[pivot], rows[k]];
        if (Math.abs(rows[k][k]) < 1e-12) {
            return null;
        }
        for (let i = 0; i < 3; ++i) {
            const factor = i === k ? 0 : rows[i][k] / rows[k][k];
            rows[i] = rows[i].map((value, j) => value - factor * rows[k][j]);
        }
    }
    return rows.map((row, k) => row[3] / row[k]);
}

/** The plane z = a x + b y + c through the points, by least squares along the axis; metres and degrees. */
export function planeThrough(images, pixels) {
    const points = pixels.filter(i => isUsable(images.confidence[i], images.distance[i]) && images.X && Number.isFinite(images.Z[i]));
    if (points.length < 3) {
        return null;
    }
    const centre = ['X', 'Y', 'Z'].map(axis => points.reduce((sum, i) => sum + images[axis][i], 0) / points.length);
    let [xx, xy, yy, xz, yz] = [0, 0, 0, 0, 0];
    for (const i of points) {
        const [x, y, z] = [images.X[i] - centre[0], images.Y[i] - centre[1], images.Z[i] - centre[2]];
        xx += x * x; xy += x * y; yy += y * y; xz += x * z; yz += y * z;
    }
    const solution = solve([[xx, xy, 0], [xy, yy, 0], [0, 0, points.length]], [xz, yz, 0]);
    if (!solution) {
        return null;
    }
    const [a, b] = solution;
    const length = Math.hypot(a, b, 1);
    const squares = points.reduce((sum, i) =>
        sum + ((images.Z[i] - centre[2] - a * (images.X[i] - centre[0]) - b * (images.Y[i] - centre[1])) / length) ** 2, 0);
    return {points: points.length, distance: Math.abs(centre[2] - a * centre[0] - b * centre[1]) / length,
            tilt: Math.acos(1 / length) * 180 / Math.PI, deviation: Math.sqrt(squares / Math.max(points.length - 3, 1))};
}
