// The settings of a recording: what they are, what they were changed to, and how they read as a file and as a command.

import {h} from './dom.js';
import {documentation} from './documentation.js';

/** @typedef {{expression: string, count: number, values: number[], type: string, names?: {value: number, name: string}[], isSwitch: boolean}} Setting */

const withoutIndices = expression => expression.replace(/\[[^\]]*\]/g, '');

/** What the documentation says about a member; its entries name the end of an expression. */
export function documentationOf(expression) {
    const path = withoutIndices(expression);
    return documentation.find(entry => path.endsWith(`.customization.${withoutIndices(entry.member)}`) ||
                                       path.endsWith(`.param.${withoutIndices(entry.member)}`)) ?? null;
}

export function valueText(setting, value) {
    if (setting.names) {
        return setting.names.find(name => name.value === value)?.name ?? String(value);
    }
    return String(Number(Number(value).toPrecision(setting.type === 'float32' ? 7 : 12)));
}

/** Changed settings as the lines of a file for --settings. */
export const settingsText = changes => [...changes].map(([expression, value]) => `${expression}=${value}`).join('\n');

/** The changes in a file of settings; throws a sentence. */
export function changesIn(text) {
    const changes = new Map();
    text.split('\n').forEach((line, number) => {
        const plain = line.replace(/#.*/, '').trim();
        if (plain === '') {
            return;
        }
        const [, expression, value] = plain.match(/^([^=\s]+)\s*=\s*(.+)$/) ?? [];
        if (!expression) {
            throw new Error(`Line ${number + 1} sets nothing; write RECORD.MEMBER = VALUE.`);
        }
        changes.set(expression, value.trim());
    });
    return changes;
}

/** The command that gives the same results. */
export function commandLine(name, changes) {
    const quoted = text => (/^[\w./:=,+-]+$/.test(text) ? text : `'${text.replaceAll("'", "'\\''")}'`);
    return ['qor run', quoted(name), ...[...changes].map(([expression, value]) => `--set ${quoted(`${expression}=${value}`)}`)].join(' ');
}

/** The range of a slider: that of the documentation, else one around the value. */
function sliderRange(setting, entry) {
    if (entry?.range) {
        return entry.range;
    }
    const value = Math.abs(setting.values[0]);
    const most = value === 0 ? (setting.type === 'float32' ? 1 : 100) : 4 * value;
    const signed = setting.values[0] < 0 || /rot|trans/.test(setting.expression);
    return [signed ? -most : 0, most];
}

export class SettingsList {
    /** @param {(changes: Map<string, string>) => void} onChange */
    constructor(onChange) {
        this.onChange = onChange;
        this.changes = new Map();
        this.settings = [];
        this.list = h('div', {class: 'settings-list'});
        this.search = h('input', {type: 'search', id: 'settings-search', placeholder: 'Search settings', 'aria-label': 'Search settings', oninput: () => this.filter()});
        this.onlyChanged = h('input', {type: 'checkbox', onchange: () => this.filter()});
        this.element = h('div', {class: 'settings'},
            h('div', {class: 'settings-head'}, this.search, h('label', {}, this.onlyChanged, 'changed')), this.list);
    }

    /** @param {Setting[]} settings */
    take(settings) {
        this.settings = settings;
        this.rows = settings.map(setting => this.rowOf(setting));
        const groups = new Map();
        for (const row of this.rows) {
            const group = row.setting.expression.split('.').slice(0, -1).join('.');
            groups.set(group, [...(groups.get(group) ?? []), row.element]);
        }
        this.groups = [...groups].map(([name, elements]) =>
            h('section', {class: 'group'}, h('h3', {title: name}, name.split('.').slice(1).join(' › ') || name), ...elements));
        this.list.replaceChildren(...this.groups);
        this.show();
    }

    rowOf(setting) {
        const entry = documentationOf(setting.expression);
        const name = setting.expression.split('.').pop();
        const id = `setting-${setting.expression}`;
        const control = this.controlOf(setting, entry, id);
        const reset = h('button', {type: 'button', class: 'quiet reset', title: 'As recorded', 'aria-label': `Reset ${name}`,
                                   onclick: () => this.set(setting, null)}, '↺');
        const element = h('div', {class: 'setting', title: setting.expression},
            h('label', {for: id, class: 'name'}, name), control.element, reset,
            entry ? h('p', {}, entry.values, entry.values && entry.meaning ? ' — ' : '', entry.meaning) : null);
        return {setting, element, control, text: `${setting.expression} ${entry?.meaning ?? ''} ${entry?.values ?? ''}`.toLowerCase()};
    }

    controlOf(setting, entry, id) {
        if (setting.names) {
            const element = h('select', {id, onchange: () => this.set(setting, element.value)},
                ...setting.names.map(({name}) => h('option', {value: name}, name)));
            return {element, show: text => { element.value = text; }};
        }
        if (setting.isSwitch && setting.count === 1) {
            const box = h('input', {id, type: 'checkbox', role: 'switch', onchange: () => this.set(setting, box.checked ? '1' : '0')});
            return {element: h('span', {class: 'switch'}, box), show: text => { box.checked = text === '1' || text === 'true'; }};
        }
        const field = h('input', {id, type: 'text', inputMode: 'decimal', onchange: () => this.set(setting, field.value.trim())});
        if (setting.count > 1) {
            return {element: field, show: text => { field.value = text; }};
        }
        const [low, high] = sliderRange(setting, entry);
        const whole = !setting.type.startsWith('float');
        const slider = h('input', {type: 'range', min: low, max: high, step: whole ? 1 : (high - low) / 500, 'aria-label': setting.expression,
                                   oninput: () => this.set(setting, valueText(setting, slider.value))});
        return {element: h('span', {class: 'number'}, slider, field), show: text => {
            field.value = text;
            const value = Number(text);
            if (value > Number(slider.max)) {
                slider.max = 2 * value;
            }
            slider.value = text;
        }};
    }

    recorded(setting) {
        return setting.values.map(value => valueText(setting, value)).join(',');
    }

    set(setting, text) {
        if (text === null || text === '' || text === this.recorded(setting)) {
            this.changes.delete(setting.expression);
        } else {
            this.changes.set(setting.expression, text);
        }
        this.show();
        this.onChange(this.changes);
    }

    replace(changes) {
        this.changes = new Map(changes);
        this.show();
    }

    show() {
        for (const {setting, element, control} of this.rows ?? []) {
            const changed = this.changes.get(setting.expression);
            control.show(changed ?? this.recorded(setting));
            element.classList.toggle('changed', changed !== undefined);
        }
        this.filter();
    }

    filter() {
        const words = this.search.value.toLowerCase().split(/\s+/).filter(Boolean);
        for (const row of this.rows ?? []) {
            row.element.hidden = !words.every(word => row.text.includes(word)) ||
                (this.onlyChanged.checked && !this.changes.has(row.setting.expression));
        }
        for (const group of this.groups ?? []) {
            group.hidden = [...group.querySelectorAll('.setting')].every(row => row.hidden);
        }
    }
}
