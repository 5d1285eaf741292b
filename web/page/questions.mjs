// Finds the current question in the program's output, and the keys that answer it.

import { byteText } from "./byte_buffer.mjs";
import { keysOf, replay } from "./replay.mjs";

const backspace = 8;
const mostRounds = 20; // the largest number of questions to answer before the end
const tail = 8192; // bytes; every screen is shorter

function lastScreen(run) {
    const text = byteText(run.output.from(Math.max(run.output.length - tail, 0)));
    return text.slice(text.lastIndexOf("\n\n---"));
}

function lastLine(run) {
    const text = byteText(run.output.from(Math.max(run.output.length - 256, 0)));
    return text.slice(text.lastIndexOf("\n") + 1);
}

// Returns the number of characters in the answer that is being typed.
function lettersTyped(inputs) {
    let count = 0;
    for (const { kind, typed } of inputs) {
        if (kind === "wait" || kind === "key" && [4, 10, 13].includes(typed))
            count = 0;
        else if (kind === "key" && (typed === backspace || typed === 127))
            count = Math.max(count - 1, 0);
        else if (kind === "key" && typed >= 0x20 && typed < 0x7f)
            ++count;
    }
    return count;
}

// Repeats the session in another run, and then leaves the program without saving. Returns that run.
export function leftWithoutSaving(engine, memory, run) {
    let erased = false;
    let rounds = 0;
    return replay(engine, memory, run.setup, run.inputs, left => {
        if (!erased) {
            erased = true;
            return Array(lettersTyped(run.inputs)).fill({ kind: "key", typed: backspace });
        }
        return ++rounds > mostRounds ? null : keysOf(answerThatLeaves(lastLine(left)));
    });
}

function answerThatLeaves(question) {
    if (question.startsWith("Exit without saving? (y/n)"))
        return "y\r";
    return question.startsWith("Select an option ==>  ") ? "0\r" : "\r";
}

// Returns the keys for the next step towards the save question, or null if there is nothing to save.
function wayToSave(run) {
    const screen = lastScreen(run);
    if (screen.includes(" 0.  Exit to previous menu"))
        return keysOf("0\r");
    const save = /^ *(\d+)\.  Save & apply all settings/m.exec(screen);
    return save ? keysOf(`${save[1]}\r`) : null;
}

// Returns the trace lines of a save of all edits, or null if there is nothing to save. An answer that was
// typed without Enter is not saved.
export function nextSave(engine, memory, run) {
    let begin = null;
    let dropped = false;
    const left = replay(engine, memory, run.setup, run.inputs, saving => {
        if (!dropped) {
            dropped = true;
            return [{ kind: "wait", seconds: 30 }];
        }
        if (begin !== null)
            return null;
        if (!lastLine(saving).startsWith("Save & apply all settings? (y/n)"))
            return wayToSave(saving);
        begin = saving.calls.length;
        return keysOf("y\r");
    });
    return begin === null ? null : left.calls.slice(begin).split("\n").filter(Boolean);
}
