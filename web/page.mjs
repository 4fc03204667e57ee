// Makes the page: the template with style, scripts and the pipeline's module in it.
//
//   node page.mjs TEMPLATE STYLE MAIN SESSION.js SESSION.wasm WORKER PAGE
import {readFileSync, writeFileSync} from 'node:fs';
import {deflateSync} from 'node:zlib';

const [template, style, main, session, module_, worker, page] = process.argv.slice(2);
const text = file => readFileSync(file, 'utf8');
const script = code => code.replaceAll('</script', '<\\/script').replaceAll('<!--', '<\\!--');

const parts = {
    '/*STYLE*/': text(style),
    '/*MODULE*/': deflateSync(readFileSync(module_), {level: 9}).toString('base64'),
    '/*WORKER*/': script(`${text(session)}\n${text(worker)}`),
    '/*MAIN*/': script(text(main)),
};
let whole = text(template);
for (const [mark, content] of Object.entries(parts)) {
    if (whole.split(mark).length !== 2) {
        throw new Error(`the template has not one ${mark}`);
    }
    whole = whole.replace(mark, () => content);
}
writeFileSync(page, whole);
