// Makes documentation.js: what docs/recordings.md says about each setting, so that the page says the same.
//
//   node documentation.mjs recordings.md documentation.js
import {readFileSync, writeFileSync} from 'node:fs';

const plain = text => text.replaceAll('`', '').trim();

/** The rows of the table that begins with a line "| Setting | Values | Meaning |". */
function rowsOf(markdown) {
    const lines = markdown.split('\n');
    const head = lines.findIndex(line => /^\| Setting \| Values \| Meaning \|/.test(line));
    if (head < 0) {
        throw new Error('there is no table of settings');
    }
    const rows = [];
    for (let k = head + 2; lines[k]?.startsWith('|'); ++k) {
        rows.push(lines[k].split('|').slice(1, 4).map(cell => cell.trim()));
    }
    return rows;
}

/** "`a.b`, `.c`, likewise `d`" names a.b, a.c, and with the last name of a.b, a.d.b or d.b. */
function membersOf(cell) {
    const [listed, likewise] = cell.split('likewise');
    const names = [...listed.matchAll(/`([^`]+)`/g)].map(match => match[1]);
    const first = names[0];
    const folder = first.includes('.') ? first.slice(0, first.lastIndexOf('.')) : '';
    const members = names.map(name => (name.startsWith('.') ? folder + name : name));
    const parts = first.split('.');
    for (const match of (likewise ?? '').matchAll(/`([^`]+)`/g)) {
        members.push([...parts.slice(0, -2), match[1], parts.at(-1)].join('.'));
    }
    return members;
}

/** "2 to 25" as numbers. */
function rangeOf(values) {
    const match = values.match(/^(-?[\d.]+) to (-?[\d.]+)/);
    return match ? [Number(match[1]), Number(match[2])] : null;
}

const entries = rowsOf(readFileSync(process.argv[2], 'utf8')).flatMap(([setting, values, meaning]) =>
    membersOf(setting).map(member => ({member, values: plain(values), meaning: plain(meaning), range: rangeOf(values)})));
writeFileSync(process.argv[3], `// Made by documentation.mjs from docs/recordings.md; changes belong there.\nexport const documentation = ${JSON.stringify(entries, null, 1)};\n`);
