// The page's side of the pipeline's thread.

/** @type {Promise<Uint8Array> | undefined} */
let module_;

/** The bytes that an element of the page holds in base 64, compressed by deflate or not. */
export async function embeddedBytes(element) {
    const coded = atob(element.textContent.replace(/\s+/g, ''));
    const bytes = Uint8Array.from(coded, letter => letter.charCodeAt(0));
    if (!element.dataset.encoding) {
        return bytes;
    }
    const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream(element.dataset.encoding));
    return new Uint8Array(await new Response(stream).arrayBuffer());
}

export class Engine {
    /**
     * @param {(progress: object) => void} onProgress of the index
     * @param {(reached: number) => void} onReached the frame, on the way to a later one
     */
    constructor(onProgress, onReached) {
        const source = document.getElementById('worker-script').textContent;
        const address = URL.createObjectURL(new Blob([source], {type: 'text/javascript'}));
        this.worker = new Worker(address);
        this.waiting = new Map();
        this.count = 0;
        this.worker.onmessage = ({data}) => {
            if (data.progress) {
                onProgress(data.progress);
                return;
            }
            if (data.reached !== undefined) {
                onReached(data.reached);
                return;
            }
            const {resolve, reject} = this.waiting.get(data.id);
            this.waiting.delete(data.id);
            data.failure === undefined ? resolve(data.value) : reject(new Error(data.failure));
        };
        this.worker.onerror = event => {
            for (const {reject} of this.waiting.values()) {
                reject(new Error(event.message));
            }
            this.waiting.clear();
        };
    }

    call(call, argument = {}) {
        const id = ++this.count;
        return new Promise((resolve, reject) => {
            this.waiting.set(id, {resolve, reject});
            this.worker.postMessage({id, call, argument});
        });
    }

    async start() {
        module_ ??= embeddedBytes(document.getElementById('session-module'));
        return this.call('init', {wasm: await module_});
    }

    close() {
        this.worker.terminate();
    }
}
