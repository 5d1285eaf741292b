// Writes a session as the transcript of a dialogue test (see tests/harness/dialogue.py).

import { byteText } from "./byte_buffer.mjs";
import { showTrace } from "./call_notation.mjs";

const enter = 13;

function printable(byte) {
    return byte >= 0x20 && byte < 0x7f;
}

function hex(byte) {
    return `\\x${byte.toString(16).padStart(2, "0")}`;
}

// Returns the session's steps: the inputs, and {kind: "out", bytes} for the output between them.
function stepsOf(run) {
    const steps = [];
    let shown = 0;
    const show = end => {
        if (end > shown)
            steps.push({ kind: "out", bytes: run.output.from(shown, end) });
        shown = end;
    };
    for (const input of run.inputs) {
        show(input.at);
        steps.push(input);
    }
    show(run.output.length);
    return steps;
}

function formatBytes(bytes) {
    const escapes = { "\\": "\\\\", "\t": "\\t", "\r": "\\r" };
    const text = [...byteText(bytes)].map(c =>
        escapes[c] ?? (c === "\n" || printable(c.charCodeAt(0)) ? c : hex(c.charCodeAt(0)))).join("");
    return text.replace(/^\[(?=(console|exit|killed|stderr|calls|store))/gm, "\\x5b");
}

function isEcho(key, output) {
    return key?.kind === "key" && output?.kind === "out" && printable(key.typed) &&
        output.bytes[0] === key.typed;
}

function formatKey(byte, withEcho) {
    if (byte === enter)
        return "⏎";
    if (byte < 0x20 || byte === 0x7f)
        return `^${String.fromCharCode(byte ^ 0x40)}`;
    if (!withEcho)
        return hex(byte);
    const character = String.fromCharCode(byte);
    return "\\^".includes(character) ? `\\${character}` : character;
}

function tomlValue(value) {
    return JSON.stringify(value).replaceAll("\x7f", "\\u007f");
}

// Returns the value in TOML with ASCII characters only.
function asciiTomlValue(value) {
    return tomlValue(value).replace(/[^ -~]/g, c => `\\u${c.charCodeAt(0).toString(16).padStart(4, "0")}`);
}

// Returns one ‹store: ...› for each leaf that another program has changed.
function formatStoreChange(tools, input) {
    return tools.changes(input.before, input.text).map(({ path, now }) =>
        now === null ? `‹store: remove ${asciiTomlValue(path)}›`
            : `‹store: ${asciiTomlValue(path)} = ${asciiTomlValue(now)}›`).join("");
}

function wholeLines(text) {
    return text === "" || text.endsWith("\n") ? text : `${text}\\\n`;
}

function formatConsole(steps, tools) {
    let text = "";
    let open = false; // true if the next key may be added to the ‹ › at the end of `text`
    steps.forEach((step, i) => {
        if (step.kind === "key") {
            const key = formatKey(step.typed, isEcho(step, steps[i + 1]));
            const control = key.startsWith("^");
            text = open && !control ? text.slice(0, -1) : `${text}‹`;
            text += `${key}›`;
            open = !control && key !== "⏎";
            return;
        }
        if (step.kind === "out") {
            const shown = formatBytes(isEcho(steps[i - 1], step) ? step.bytes.subarray(1) : step.bytes);
            text += shown;
            open = open && shown === "";
            return;
        }
        text += step.kind === "wait" ? `‹wait ${step.seconds} s›` : formatStoreChange(tools, step);
        open = false;
    });
    return wholeLines(text);
}

// Returns the header lines that turn the meter `base` with `baseLeaves` into a meter with `leaves`.
function fromBase(base, baseLeaves, leaves) {
    const set = [...leaves].filter(([path, value]) => baseLeaves.get(path) !== value)
        .map(([path, value]) => `${tomlValue(path)} = ${tomlValue(value)}`);
    const remove = [...baseLeaves.keys()].filter(path => !leaves.has(path)).map(tomlValue);
    return { base, set, remove, length: set.length + remove.length };
}

function block(name, lines) {
    return lines.length === 0 ? "" : [`${name}:`, ...lines.map(line => line ? `    ${line}` : "")].join("\n") + "\n";
}

function header(setup, tools) {
    const leaves = tools.leaves(setup.store);
    const meter = [fromBase("factory", tools.leaves(setup.factory), leaves), fromBase("empty", new Map(), leaves)]
        .reduce((one, other) => other.length < one.length ? other : one);
    const words = setup.programArguments.join(" ");
    return `meter: ${meter.base}\n` + (words ? `arguments: ${words}\n` : "") +
        block("set", meter.set) + block("remove", meter.remove) +
        block("faults", setup.faults ? setup.faults.trimEnd().split("\n") : []);
}

function storeDifference(tools, before, after) {
    const lines = tools.changes(before, after).map(({ path, old, now }) => {
        const key = tomlValue(path);
        if (now === null)
            return `- ${key} = ${tomlValue(old)}`;
        return old === null ? `+ ${key} = ${tomlValue(now)}` : `~ ${key} = ${tomlValue(old)} -> ${tomlValue(now)}`;
    });
    return lines.length > 0 ? lines : ["unchanged"];
}

export function transcriptOf(run, tools, shows) {
    const errors = wholeLines(run.errorText);
    return [
        `${shows}\n\n${header(run.setup, tools)}\n[console]\n`,
        formatConsole(stepsOf(run), tools),
        `[exit ${run.exitStatus}]\n`,
        errors ? `[stderr]\n${errors}` : "",
        ["[calls]", ...showTrace(run.calls), "[store]",
            ...storeDifference(tools, run.setup.store, run.store)].join("\n"),
        "\n",
    ].join("");
}

// Returns the text of the console in parts {text, typed}. `typed` is true for typed text.
export function readableParts(run) {
    const parts = [];
    const add = (text, typed) => {
        if (text === "")
            return;
        if (parts.at(-1)?.typed === typed)
            parts.at(-1).text += text;
        else
            parts.push({ text, typed });
    };
    const steps = stepsOf(run);
    steps.forEach((step, i) => {
        if (step.kind === "key" && isEcho(step, steps[i + 1]))
            add(String.fromCharCode(step.typed), true);
        else if (step.kind === "key" && step.typed === enter)
            add("⏎", true);
        else if (step.kind === "key")
            add(formatKey(step.typed, false), true);
        else if (step.kind === "wait")
            add(`(no key for ${step.seconds} s)`, true);
        else if (step.kind === "store")
            add("(another program changed the meter)", true);
        else
            add(byteText(isEcho(steps[i - 1], step) ? step.bytes.subarray(1) : step.bytes), false);
    });
    return parts;
}
