// Images side by side, each with its scale; zoom and pan are the same for all.

import {h, sharpContext, styleColor} from './dom.js';
import {imageHeight, imageWidth, mapNames, quantityOf, short} from './quantities.js';

/** What all panels show of the image: the middle, in pixels, and how many times enlarged to fill the panel. */
export const view = {x: imageWidth / 2, y: imageHeight / 2, zoom: 1};

export class Panel {
    /**
     * @param {string} name of the image
     * @param {{maps: object, onHover: Function, onPick: Function, onView: Function, onScale: Function, onAppear: Function}} host
     */
    constructor(name, host, title) {
        this.name = name;
        this.host = host;
        this.map = quantityOf(name).map;
        this.limits = null;  // automatic
        this.shown = [0, 1];
        this.image = new OffscreenCanvas(imageWidth, imageHeight);
        this.hasImage = false;
        this.size = {width: 0, height: 0};  // of the canvas, CSS pixels
        this.isVisible = true;  // some of it, until the browser says that it is not
        this.scaleMap = null;  // that the scale shows
        this.title = title ?? quantityOf(name).title;
        this.build();
    }

    build() {
        const {unit} = quantityOf(this.name);
        this.canvas = h('canvas', {class: 'image', tabIndex: 0, role: 'img', 'aria-label': `${this.title}, image; arrow keys move the pixel, with Shift the image, plus and minus zoom`});
        this.scale = h('canvas', {class: 'scale', 'aria-hidden': 'true'});
        this.low = h('input', {class: 'limit', type: 'text', inputMode: 'decimal', 'aria-label': `${this.title}, lower limit`,
                               onchange: () => this.fix()});
        this.high = h('input', {class: 'limit', type: 'text', inputMode: 'decimal', 'aria-label': `${this.title}, upper limit`,
                                onchange: () => this.fix()});
        this.auto = h('button', {class: 'quiet', type: 'button', title: 'Limits from each frame', 'aria-pressed': 'true',
                                 onclick: () => this.automatic()}, 'Auto');
        this.choice = h('select', {class: 'map', 'aria-label': `${this.title}, colours`,
                                   onchange: () => { this.map = this.choice.value; this.host.onScale(); }},
                        ...Object.entries(mapNames).map(([value, name]) => h('option', {value, selected: value === this.map}, name)));
        this.heading = h('h2', {}, this.title, unit ? h('span', {class: 'unit'}, unit) : null);
        const isStates = this.map === 'states';
        this.key = h('ul', {class: 'key'});
        this.element = h('section', {class: 'panel', 'aria-label': this.title},
            h('header', {}, this.heading, isStates ? null : this.choice),
            this.canvas,
            isStates ? this.key : h('footer', {}, this.low, this.scale, this.high, this.auto));
        this.listen();
        this.watch();
    }

    /** Follows the size of the canvas, and whether it is on the screen. */
    watch() {
        new ResizeObserver(([{contentRect}]) => {
            this.size = {width: contentRect.width, height: contentRect.height};
            this.host.onView();
        }).observe(this.canvas);
        new IntersectionObserver(([{isIntersecting}]) => {
            const appears = isIntersecting && !this.isVisible;
            this.isVisible = isIntersecting;
            if (appears) {
                this.host.onAppear(this);
            }
        }).observe(this.element);
    }

    listen() {
        let held = null;
        this.canvas.addEventListener('pointerdown', event => {
            held = {x: event.clientX, y: event.clientY, moved: false, button: event.button};
            this.canvas.setPointerCapture(event.pointerId);
            this.host.onPress?.(this.pixelAt(event), event);
        });
        this.canvas.addEventListener('pointermove', event => {
            const place = this.pixelAt(event);
            this.host.onHover(place, this.name);
            if (!held || this.host.isDrawing?.()) {
                return;
            }
            const dx = event.clientX - held.x;
            const dy = event.clientY - held.y;
            if (held.moved || Math.hypot(dx, dy) > 3) {
                held.moved = true;
                const size = this.pixelSize();
                view.x -= dx / size;
                view.y -= dy / size;
                held.x = event.clientX;
                held.y = event.clientY;
                this.host.onView();
            }
        });
        this.canvas.addEventListener('pointerup', event => {
            if (held && !held.moved) {
                this.host.onPick(this.pixelAt(event), event);
            }
            held = null;
        });
        this.canvas.addEventListener('pointerleave', () => this.host.onHover(null, this.name));
        this.canvas.addEventListener('wheel', event => {
            event.preventDefault();
            this.zoomAt(this.placeAt(event), Math.exp(-0.0015 * event.deltaY));
        }, {passive: false});
        this.canvas.addEventListener('dblclick', () => { Object.assign(view, {x: imageWidth / 2, y: imageHeight / 2, zoom: 1}); this.host.onView(); });
        this.canvas.addEventListener('keydown', event => this.host.onKey?.(event, this));
    }

    /** By so many CSS pixels of what is seen. */
    pan(dx, dy) {
        const size = this.pixelSize();
        view.x += dx / size;
        view.y += dy / size;
        this.host.onView();
    }

    zoomAt(place, factor) {
        const zoom = Math.min(Math.max(view.zoom * factor, 1), 40);
        view.x = place.x + (view.x - place.x) * view.zoom / zoom;
        view.y = place.y + (view.y - place.y) * view.zoom / zoom;
        view.zoom = zoom;
        this.host.onView();
    }

    pixelSize() {
        return view.zoom * Math.min(this.size.width / imageWidth, this.size.height / imageHeight);
    }

    placeAt(event) {
        const box = this.canvas.getBoundingClientRect();
        const size = this.pixelSize();
        return {x: view.x + (event.clientX - box.left - box.width / 2) / size,
                y: view.y + (event.clientY - box.top - box.height / 2) / size};
    }

    pixelAt(event) {
        const place = this.placeAt(event);
        const x = Math.floor(place.x);
        const y = Math.floor(place.y);
        return x < 0 || y < 0 || x >= imageWidth || y >= imageHeight ? null : {x, y};
    }

    fix() {
        const {factor} = quantityOf(this.name);
        const limits = [Number(this.low.value) / factor, Number(this.high.value) / factor];
        if (limits.every(Number.isFinite) && limits[1] > limits[0]) {
            this.limits = limits;
            this.auto.setAttribute('aria-pressed', 'false');
        }
        this.host.onScale();
    }

    automatic() {
        this.limits = null;
        this.auto.setAttribute('aria-pressed', 'true');
        this.host.onScale();
    }

    request() {
        return {name: this.name, map: this.map, limits: this.limits};
    }

    /** @param {{pixels: Uint8ClampedArray | null, limits: [number, number]}} painted */
    take(painted, marks) {
        this.hasImage = painted.pixels !== null;
        this.shown = painted.limits;
        if (this.hasImage) {
            this.image.getContext('2d').putImageData(new ImageData(painted.pixels, imageWidth, imageHeight), 0, 0);
        }
        this.draw(marks);
        this.drawScale();
    }

    draw(marks) {
        if (this.size.width === 0) {
            return;
        }
        const {context, width, height} = sharpContext(this.canvas, this.size);
        context.fillStyle = styleColor('--well');
        context.fillRect(0, 0, width, height);
        if (!this.hasImage) {
            context.fillStyle = styleColor('--faint');
            context.font = `12px ${styleColor('--sans')}`;
            context.textAlign = 'center';
            context.fillText('not in this recording', width / 2, height / 2);
            return;
        }
        const size = this.pixelSize();
        context.imageSmoothingEnabled = false;
        context.setTransform(context.getTransform().multiply(
            new DOMMatrix([size, 0, 0, size, width / 2 - view.x * size, height / 2 - view.y * size])));
        context.drawImage(this.image, 0, 0);
        marks?.(context, size);
    }

    drawScale() {
        if (this.map === 'states') {
            return;
        }
        const {factor} = quantityOf(this.name);
        if (document.activeElement !== this.low) {
            this.low.value = short(this.shown[0] * factor);
        }
        if (document.activeElement !== this.high) {
            this.high.value = short(this.shown[1] * factor);
        }
        if (this.scaleMap === this.map) {
            return;
        }
        this.scaleMap = this.choice.value = this.map;
        const colors = this.host.maps[this.map];
        this.scale.width = 256;
        this.scale.height = 1;
        const line = new Uint8ClampedArray(1024);
        for (let k = 0; k < 256; ++k) {
            line.set(colors.subarray(16 * k, 16 * k + 4), 4 * k);
        }
        this.scale.getContext('2d').putImageData(new ImageData(line, 256, 1), 0, 0);
    }

    /** The key of the states of pixels, with the share of each. */
    showStates(states) {
        this.key.title = states.map(state => `${state.name}: ${state.pixels} pixels`).join('\n');
        const total = states.reduce((sum, state) => sum + state.pixels, 0);
        this.key.replaceChildren(...states.filter(state => state.pixels > 0).sort((a, b) => b.pixels - a.pixels).map(state =>
            h('li', {}, h('i', {style: `background:rgb(${state.color.join(',')})`}), state.name,
              h('b', {}, `${(100 * state.pixels / total).toFixed(1)} %`))));
    }
}
