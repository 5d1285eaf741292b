// Calls the functions of web/store_tools.cpp, which work on the text of a store.

export class StoreTools {
    constructor(engine) {
        this.instance = engine.instantiate(engine.newMemory(), {});
    }

    // Calls the function `name` with the texts, and returns its text. If the function fails, throws an Error
    // with this text.
    call(name, ...texts) {
        const pointers = texts.map(text => this.instance.allocateUTF8(text));
        const answer = this.instance.UTF8ToString(this.instance[`_${name}`](...pointers));
        pointers.forEach(pointer => this.instance._free(pointer));
        if (this.instance._store_tools_failed())
            throw new Error(answer);
        return answer;
    }

    // Returns a Map from each path to a boolean, number or string, sorted by path.
    leaves(text) {
        return new Map(Object.entries(JSON.parse(this.call("store_leaves", text))));
    }

    // Sets the leaf and returns the new text of the store. `word` is parsed as a value of the leaf's type.
    set(text, path, word) {
        return this.call("store_set", text, path, word);
    }

    clear(text, path) {
        return this.call("store_clear", text, path);
    }

    // Returns a list of {path, old, now}. `old` or `now` is null where the leaf is missing.
    changes(before, after) {
        const changes = JSON.parse(this.call("store_changes", before, after));
        return Object.entries(changes).map(([path, change]) => ({ path, old: change.old, now: change.new }));
    }

    // Returns the lines that `cdsctl diff` prints.
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
