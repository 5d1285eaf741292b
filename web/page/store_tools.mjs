// What is done with the text of a store outside the program: the functions of web/store_tools.cpp.

export class StoreTools {
    constructor(engine) {
        this.instance = engine.instantiate(engine.newMemory(), {});
    }

    // Throws an Error with the reason, which begins with file and line where there is one.
    call(name, ...texts) {
        const pointers = texts.map(text => this.instance.allocateUTF8(text));
        const answer = this.instance.UTF8ToString(this.instance[`_${name}`](...pointers));
        pointers.forEach(pointer => this.instance._free(pointer));
        if (this.instance._store_tools_failed())
            throw new Error(answer);
        return answer;
    }

    // A Map from path to boolean, number or string, in the order of the paths.
    leaves(text) {
        return new Map(Object.entries(JSON.parse(this.call("store_leaves", text))));
    }

    // The store's text with the leaf set to what `word` means for its type.
    set(text, path, word) {
        return this.call("store_set", text, path, word);
    }

    clear(text, path) {
        return this.call("store_clear", text, path);
    }

    // A list of {path, old, now}; null: no such leaf.
    changes(before, after) {
        const changes = JSON.parse(this.call("store_changes", before, after));
        return Object.entries(changes).map(([path, change]) => ({ path, old: change.old, now: change.new }));
    }

    // The lines of `cdsctl diff`.
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
