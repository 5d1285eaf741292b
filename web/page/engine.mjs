// Creates instances of the program. The WebAssembly module is compiled only once. The caller gives each
// instance its memory, and the next instance can use the same memory.

const pageSize = 65536;
const firstPages = 64;
const mostPages = 32768; // both numbers must agree with web/CMakeLists.txt

export class Engine {
    // `createProgram` comes from emcc. `bytes` is the WebAssembly.
    constructor(createProgram, bytes) {
        this.createProgram = createProgram;
        this.wasm = new WebAssembly.Module(bytes);
    }

    newMemory() {
        return new WebAssembly.Memory({ initial: firstPages, maximum: mostPages });
    }

    // Returns an instance that is ready to be called. The earlier contents of `memory` are lost.
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
