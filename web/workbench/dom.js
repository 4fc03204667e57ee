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

/** A canvas of so many CSS pixels, sharp on every screen; its context counts in CSS pixels. */
export function sharpContext(canvas) {
    const ratio = window.devicePixelRatio || 1;
    const {width, height} = canvas.getBoundingClientRect();
    canvas.width = Math.max(1, Math.round(width * ratio));
    canvas.height = Math.max(1, Math.round(height * ratio));
    const context = canvas.getContext('2d');
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    return {context, width, height};
}

/** A colour of the style sheet. */
export const styleColor = name => getComputedStyle(document.documentElement).getPropertyValue(name).trim();
