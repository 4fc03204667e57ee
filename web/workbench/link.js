// The state of the view in the fragment of the address, so that a link brings it back.

/** @param {{frame: number, pixel: {x: number, y: number} | null, changes: Map, changesB: Map, comparing: boolean, tab: string}} state */
export function fragmentOf(state) {
    const parameters = new URLSearchParams();
    parameters.set('frame', state.frame);
    if (state.pixel) {
        parameters.set('pixel', `${state.pixel.x},${state.pixel.y}`);
    }
    if (state.comparing) {
        parameters.set('compare', '1');
    }
    parameters.set('tab', state.tab);
    state.changes.forEach((value, expression) => parameters.append('a', `${expression}=${value}`));
    state.changesB.forEach((value, expression) => parameters.append('b', `${expression}=${value}`));
    return `#${parameters}`;
}

function changesOf(texts) {
    return new Map(texts.filter(text => text.includes('=')).map(text => {
        const at = text.indexOf('=');
        return [text.slice(0, at), text.slice(at + 1)];
    }));
}

export function stateOf(fragment) {
    const parameters = new URLSearchParams(fragment.replace(/^#/, ''));
    const [x, y] = (parameters.get('pixel') ?? '').split(',').map(Number);
    const frame = Number(parameters.get('frame') ?? 0);
    return {frame: Number.isInteger(frame) && frame > 0 ? frame : 0,
            pixel: parameters.has('pixel') && x >= 0 && y >= 0 && x < 224 && y < 172 ? {x, y} : null,
            comparing: parameters.get('compare') === '1',
            tab: parameters.get('tab') ?? 'pixel',
            changes: changesOf(parameters.getAll('a')), changesB: changesOf(parameters.getAll('b'))};
}
