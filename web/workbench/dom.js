// Elements in one line.

/**
 * @param {string} tag
 * @param {Object<string, any>} properties "class", "on..." handlers, "data-..." and "aria-..." attributes, others as set
 * @param {...(Node | string | null)} children
 */
export function h(tag, properties = {}, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(properties)) {
        if (value === undefined || value === null || value === false) {
            continue;
        }
        if (name.startsWith('on')) {
            element.addEventListener(name.slice(2), value);
        } else if (name === 'class' || name.includes('-') || name === 'for' || name === 'role' || name === 'list') {
            element.setAttribute(name === 'class' ? 'class' : name, value === true ? '' : value);
        } else {
            element[name] = value;
        }
    }
    element.append(...children.filter(child => child !== null && child !== undefined));
    return element;
}

export const byId = id => document.getElementById(id);

/**
 * An empty canvas, sharp on every screen; its context counts in CSS pixels.
 * @param {{width: number, height: number}} size in CSS pixels; to ask the browser for it costs a layout
 */
export function sharpContext(canvas, size = canvas.getBoundingClientRect()) {
    const ratio = window.devicePixelRatio || 1;
    const [width, height] = [size.width, size.height].map(length => Math.max(1, Math.round(length * ratio)));
    const context = canvas.getContext('2d');
    if (canvas.width !== width || canvas.height !== height) {  // new memory, and all of the context's state
        canvas.width = width;
        canvas.height = height;
    }
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, size.width, size.height);
    return {context, width: size.width, height: size.height};
}

let colors = new Map();

/** A colour of the style sheet, as it was when it was first asked for. */
export function styleColor(name) {
    if (!colors.has(name)) {
        colors.set(name, getComputedStyle(document.documentElement).getPropertyValue(name).trim());
    }
    return colors.get(name);
}

/** The style sheet has other colours from now on. */
export function forgetStyleColors() {
    colors = new Map();
}
