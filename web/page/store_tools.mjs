// Functions for the text of a store outside the program; see web/store_tools.cpp.

export class StoreTools {
    constructor(engine) {
        this.instance = engine.instantiate(engine.newMemory(), {});
    }

    // Throws an Error if the function fails. The message has the reason, after the file and line if they are
    // known.
    call(name, ...texts) {
        const pointers = texts.map(text => this.instance.allocateUTF8(text));
        const answer = this.instance.UTF8ToString(this.instance[`_${name}`](...pointers));
        pointers.forEach(pointer => this.instance._free(pointer));
        if (this.instance._store_tools_failed())
            throw new Error(answer);
        return answer;
    }

    // Returns a Map from path to boolean, number or string, in the order of the paths.
    leaves(text) {
        return new Map(Object.entries(JSON.parse(this.call("store_leaves", text))));
    }

    // Returns the store's text after setting the leaf. `word` is parsed as a value of the leaf's type.
    set(text, path, word) {
        return this.call("store_set", text, path, word);
    }

    clear(text, path) {
        return this.call("store_clear", text, path);
    }

    // Returns a list of {path, old, now}, where null means that there is no such leaf.
    changes(before, after) {
        const changes = JSON.parse(this.call("store_changes", before, after));
        return Object.entries(changes).map(([path, change]) => ({ path, old: change.old, now: change.new }));
    }

    // Returns the lines of `cdsctl diff`.
    diff(before, after) {
        return this.call("store_diff", before, after).split("\n").slice(0, -1);
    }

    checkStore(text) {
        this.call("store_leaves", text);
    }

    checkFaults(text) {
        this.call("faults_check", text);
    }
}
