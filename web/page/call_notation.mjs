// Formats the calls of the client library in the notation of the dialogue tests (tests/harness/calls.py).

import { menuReads } from "./meter_words.mjs";

const members = {
    pcd_init: ["call", "connected"],
    pcd_close: ["call"],
    get_leaves: ["call", "paths", "statuses", "result"],
    set_leaf: ["call", "path", "value", "flag", "source", "status", "result"],
    set_leaves: ["call", "leaves", "source", "result"],
    clear_leaves: ["call", "paths", "statuses", "source", "result"],
    system: ["call", "command", "result"],
    sleep: ["call", "seconds"],
};

function sameList(one, other) {
    return one.length === other.length && one.every((item, i) => item === other[i]);
}

function showPath(path) {
    const plain = /^\/[!-~]+( [!-~]+)*$/.test(path) && !path.includes(" = ");
    return plain ? path : JSON.stringify(path);
}

function unlessUsual(usual, word, value) {
    const shown = JSON.stringify(value);
    return shown === JSON.stringify(usual) ? "" : `  ${word} ${shown}`;
}

function showOutcome(call) {
    return unlessUsual("", "from", call.source ?? "").slice(1) + unlessUsual(0, "result", call.result);
}

function showLeaf(leaf) {
    return `${showPath(leaf.path)} = ${JSON.stringify(leaf.value)}` +
        unlessUsual(1, "flag", leaf.flag) + unlessUsual(1, "status", leaf.status);
}

function showPaths(call) {
    return call.paths.map((path, i) => `    ${showPath(path)}${unlessUsual(1, "status", call.statuses[i])}`);
}

function showRead(call) {
    const menu = Object.keys(menuReads).find(name => sameList(call.paths, menuReads[name]));
    if (menu === undefined)
        return [`get_leaves${showOutcome(call)}`, ...showPaths(call)];
    const found = call.statuses.every(status => status === 1);
    const statuses = found && call.statuses.length > 0 ? "" : `  statuses ${call.statuses.join(" ")}`;
    return [`get_leaves ${menu}${statuses}${showOutcome(call)}`];
}

const shown = {
    pcd_init: call => [`pcd_init ${call.connected ? "connected" : "not connected"}`],
    pcd_close: () => ["pcd_close"],
    get_leaves: showRead,
    set_leaf: call => [`set_leaf ${showLeaf(call)}${showOutcome(call)}`],
    set_leaves: call => [`set_leaves${showOutcome(call)}`,
        ...call.leaves.map(leaf => `    ${showLeaf(leaf)}`)],
    clear_leaves: call => [`clear_leaves${showOutcome(call)}`, ...showPaths(call)],
    system: call => [`system ${JSON.stringify(call.command).slice(1, -1)}${showOutcome(call)}`],
    sleep: call => [`sleep ${call.seconds}`],
};

function showCall(text) {
    const call = JSON.parse(text);
    const known = members[call.call];
    return known && sameList(Object.keys(call).sort(), [...known].sort()) ? shown[call.call](call) : [text];
}

// Returns the lines for a whole trace. A repeated one-line call becomes one line with a count.
export function showTrace(text) {
    const groups = [];
    for (const line of text.split("\n").filter(Boolean)) {
        const lines = showCall(line);
        const last = groups.at(-1);
        if (last && lines.length === 1 && sameList(last.lines, lines))
            ++last.count;
        else
            groups.push({ lines, count: 1 });
    }
    return groups.flatMap(({ lines, count }) => count === 1 ? lines : [`${lines[0]}  x${count}`]);
}
