// Creates instances of the program from one compiled WebAssembly module. The caller provides the memory of an
// instance, and may use the same memory for the next instance.

const pageSize = 65536;
const firstPages = 64;
const mostPages = 32768; // firstPages and mostPages must agree with web/CMakeLists.txt

export class Engine {
    // `createProgram` is the function from emcc. `bytes` is the WebAssembly binary.
    constructor(createProgram, bytes) {
        this.createProgram = createProgram;
        this.wasm = new WebAssembly.Module(bytes);
    }

    newMemory() {
        return new WebAssembly.Memory({ initial: firstPages, maximum: mostPages });
    }

    // Returns an instance whose functions can be called. Clears `memory` first.
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
