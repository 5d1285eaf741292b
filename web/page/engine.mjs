// Instances of the compiled program. The module is compiled once; an instance lives in a memory that
// is given to it and can be used again for the next one.

const pageSize = 65536;
const firstPages = 64;
const mostPages = 32768; // both as in web/CMakeLists.txt

export class Engine {
    // `createProgram` is what emcc made; `bytes` the WebAssembly.
    constructor(createProgram, bytes) {
        this.createProgram = createProgram;
        this.wasm = new WebAssembly.Module(bytes);
    }

    newMemory() {
        return new WebAssembly.Memory({ initial: firstPages, maximum: mostPages });
    }

    // Returns the instance, ready to be called. Whatever used `memory` before is lost.
    instantiate(memory, settings) {
        new Uint8Array(memory.buffer).fill(0);
        const instance = {
            ...settings,
            wasmMemory: memory,
            INITIAL_MEMORY: Math.max(memory.buffer.byteLength, firstPages * pageSize),
            instantiateWasm: (imports, receive) => {
                receive(new WebAssembly.Instance(this.wasm, imports), this.wasm);
                return {};
            },
            quit: (status, reason) => {
                throw reason;
            },
        };
        this.createProgram(instance);
        return instance;
    }
}
