// Makes documentation.js: what docs/settings.md says about each setting, so that the page says the same.
//
//   node documentation.mjs settings.md documentation.js
import {readFileSync, writeFileSync} from 'node:fs';

const plain = text => text.replaceAll('`', '').trim();

/** The rows of all tables that begin with a line "| Setting | Values | Default | Meaning |". */
function rowsOf(markdown) {
    const rows = [];
    let inside = false;
    for (const line of markdown.split('\n')) {
        const isHead = line.startsWith('| Setting | Values | Default | Meaning |');
        inside = isHead || (inside && line.startsWith('|'));
        if (inside && line.startsWith('| `')) {
            rows.push(line.split('|').slice(1, 5).map(cell => cell.trim()));
        }
    }
    if (rows.length === 0) {
        throw new Error('there is no table of settings');
    }
    return rows;
}

/** "2 to 25" as numbers. */
function rangeOf(values) {
    const match = values.match(/^(-?[\d.]+) to (-?[\d.]+)/);
    return match ? [Number(match[1]), Number(match[2])] : null;
}

const entries = rowsOf(readFileSync(process.argv[2], 'utf8')).map(([setting, values, , meaning]) =>
    ({member: plain(setting), values: plain(values), meaning: plain(meaning), range: rangeOf(values)}));
writeFileSync(process.argv[3], `// Made by documentation.mjs from docs/settings.md; changes belong there.\nexport const documentation = ${JSON.stringify(entries, null, 1)};\n`);
