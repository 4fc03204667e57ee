// The points of a frame in space, drawn by WebGL 2. Turn: drag; pan: drag with Shift or the right button; zoom: wheel.

import {isUsable} from './quantities.js';

const grey = 89;  // of points without a value

const vertexShader = `#version 300 es
in vec3 position; in vec4 color; uniform mat4 matrix; uniform float size; out vec3 tint;
void main() { gl_Position = matrix * vec4(position, 1.0); gl_PointSize = size; tint = color.rgb; }`;
const fragmentShader = `#version 300 es
precision mediump float; in vec3 tint; out vec4 paint; void main() { paint = vec4(tint, 1.0); }`;

function multiply(a, b) {
    const c = new Float32Array(16);
    for (let column = 0; column < 4; ++column) {
        for (let row = 0; row < 4; ++row) {
            for (let k = 0; k < 4; ++k) {
                c[4 * column + row] += a[4 * k + row] * b[4 * column + k];
            }
        }
    }
    return c;
}

export class Cloud {
    /** @param {HTMLCanvasElement} canvas */
    constructor(canvas) {
        this.canvas = canvas;
        this.gl = canvas.getContext('webgl2', {antialias: true, preserveDrawingBuffer: true});
        this.count = 0;
        this.angles = [0.35, -0.25];
        this.middle = [0, 0, 1.5];
        this.reach = 2.5;
        if (this.gl) {
            this.prepare();
            this.listen();
        }
    }

    prepare() {
        const {gl} = this;
        const program = gl.createProgram();
        for (const [type, source] of [[gl.VERTEX_SHADER, vertexShader], [gl.FRAGMENT_SHADER, fragmentShader]]) {
            const shader = gl.createShader(type);
            gl.shaderSource(shader, source);
            gl.compileShader(shader);
            gl.attachShader(program, shader);
        }
        gl.linkProgram(program);
        gl.useProgram(program);
        this.matrix = gl.getUniformLocation(program, 'matrix');
        this.size = gl.getUniformLocation(program, 'size');
        this.buffers = ['position', 'color'].map(name => {
            const buffer = gl.createBuffer();
            const place = gl.getAttribLocation(program, name);
            gl.bindBuffer(gl.ARRAY_BUFFER, buffer);
            gl.enableVertexAttribArray(place);
            if (name === 'position') {
                gl.vertexAttribPointer(place, 3, gl.FLOAT, false, 0, 0);
            } else {
                gl.vertexAttribPointer(place, 4, gl.UNSIGNED_BYTE, true, 0, 0);
            }
            return buffer;
        });
        gl.enable(gl.DEPTH_TEST);
    }

    listen() {
        let held = null;
        this.canvas.addEventListener('pointerdown', event => { held = event; this.canvas.setPointerCapture(event.pointerId); });
        this.canvas.addEventListener('pointerup', () => { held = null; });
        this.canvas.addEventListener('contextmenu', event => event.preventDefault());
        this.canvas.addEventListener('pointermove', event => {
            if (!held) {
                return;
            }
            const [dx, dy] = [event.movementX, event.movementY];
            held.shiftKey || held.button === 2 ? this.pan(dx, dy) : this.turn(0.008 * dx, 0.008 * dy);
        });
        this.canvas.addEventListener('wheel', event => { event.preventDefault(); this.zoom(Math.exp(0.0012 * event.deltaY)); }, {passive: false});
        this.canvas.addEventListener('keydown', event => {
            const step = {ArrowLeft: [-0.1, 0], ArrowRight: [0.1, 0], ArrowUp: [0, -0.1], ArrowDown: [0, 0.1]}[event.key];
            if (step) {
                event.preventDefault();
                event.stopPropagation();
                event.shiftKey ? this.pan(200 * step[0], 200 * step[1]) : this.turn(...step);
            } else if (event.key === '+' || event.key === '-') {
                this.zoom(event.key === '+' ? 0.9 : 1.1);
            }
        });
    }

    turn(x, y) {
        this.angles = [this.angles[0] + x, Math.max(-1.5, Math.min(1.5, this.angles[1] + y))];
        this.draw();
    }

    pan(dx, dy) {
        const scale = this.reach / this.canvas.clientHeight;
        const [cos, sin] = [Math.cos(this.angles[0]), Math.sin(this.angles[0])];
        this.middle = [this.middle[0] - dx * scale * cos, this.middle[1] - dy * scale, this.middle[2] - dx * scale * sin];
        this.draw();
    }

    zoom(factor) {
        this.reach = Math.max(0.05, Math.min(100, this.reach * factor));
        this.draw();
    }

    /**
     * @param {Object<string, Float32Array>} images with X, Y, Z
     * @param {{image: Float32Array, limits: [number, number], colors: Uint8Array}} paint
     * @param {boolean} organised all pixels, those without a distance too
     */
    show(images, paint, organised) {
        if (!this.gl || !images.X) {
            return;
        }
        const all = images.X.length;
        const positions = new Float32Array(3 * all);
        const colors = new Uint8Array(4 * all);
        const [low, high] = paint.limits;
        let count = 0;
        for (let i = 0; i < all; ++i) {
            const usable = isUsable(images.confidence[i], images.distance[i]);
            if ((!usable && !organised) || !Number.isFinite(images.Z[i])) {
                continue;
            }
            positions[3 * count] = images.X[i];
            positions[3 * count + 1] = images.Y[i];
            positions[3 * count + 2] = images.Z[i];
            const value = paint.image[i];
            const at = 4 * Math.round(1023 * Math.max(0, Math.min(1, (value - low) / (high - low))));
            const isGrey = !usable || Number.isNaN(value);
            for (let k = 0; k < 3; ++k) {
                colors[4 * count + k] = isGrey ? grey : paint.colors[at + k];
            }
            ++count;
        }
        this.count = count;
        this.send(positions.subarray(0, 3 * count), colors.subarray(0, 4 * count));
        if (!this.isPlaced && this.count > 0) {
            this.isPlaced = true;
            this.fit(positions.subarray(0, 3 * count));
        }
        this.draw();
    }

    send(positions, colors) {
        const {gl} = this;
        [positions, colors].forEach((values, k) => {
            gl.bindBuffer(gl.ARRAY_BUFFER, this.buffers[k]);
            gl.bufferData(gl.ARRAY_BUFFER, values, gl.DYNAMIC_DRAW);
        });
    }

    fit(positions) {
        const axes = [0, 1, 2].map(axis => Float32Array.from(positions.filter((_, k) => k % 3 === axis)).sort());
        this.middle = axes.map(values => (values[Math.floor(0.02 * values.length)] + values[Math.floor(0.98 * values.length)]) / 2);
        this.reach = 1.25 * Math.max(...axes.map(values => values[Math.floor(0.98 * values.length)] - values[Math.floor(0.02 * values.length)]));
    }

    draw() {
        const {gl, canvas} = this;
        if (!gl) {
            return;
        }
        const ratio = window.devicePixelRatio || 1;
        const [width, height] = [canvas.clientWidth, canvas.clientHeight].map(length => Math.max(1, Math.round(length * ratio)));
        if (canvas.width !== width || canvas.height !== height) {
            canvas.width = width;
            canvas.height = height;
        }
        gl.viewport(0, 0, canvas.width, canvas.height);
        gl.clearColor(0.043, 0.051, 0.063, 1);
        gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
        const [cy, sy] = [Math.cos(this.angles[0]), Math.sin(this.angles[0])];
        const [cx, sx] = [Math.cos(this.angles[1]), Math.sin(this.angles[1])];
        const move = [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -this.middle[0], -this.middle[1], -this.middle[2], 1];
        const turnY = [cy, 0, sy, 0, 0, 1, 0, 0, -sy, 0, cy, 0, 0, 0, 0, 1];
        const turnX = [1, 0, 0, 0, 0, cx, sx, 0, 0, -sx, cx, 0, 0, 0, 0, 1];
        const away = [1, 0, 0, 0, 0, -1, 0, 0, 0, 0, -1, 0, 0, 0, -1.2 * this.reach, 1];  // the camera looks along z, y down
        const aspect = canvas.width / canvas.height;
        const [near, far] = [0.02 * this.reach, 20 * this.reach];
        const lens = [1.7 / aspect, 0, 0, 0, 0, 1.7, 0, 0, 0, 0, (far + near) / (near - far), -1, 0, 0, 2 * far * near / (near - far), 0];
        gl.uniformMatrix4fv(this.matrix, false, multiply(lens, multiply(away, multiply(turnX, multiply(turnY, move)))));
        gl.uniform1f(this.size, 2 * ratio);
        gl.drawArrays(gl.POINTS, 0, this.count);
    }
}
