// Creates the meter and the views of the page, and starts the program.

import { ActivityView } from "./activity_view.mjs";
import { ControlsView } from "./controls_view.mjs";
import { connectDiscardQuestion } from "./discard_question.mjs";
import { byId } from "./dom.mjs";
import { Engine } from "./engine.mjs";
import { ExercisesView } from "./exercises_view.mjs";
import { KeepView } from "./keep_view.mjs";
import { LeavesView } from "./leaves_view.mjs";
import { Meter, startFromFragment } from "./meter.mjs";
import { NextSaveView } from "./next_save_view.mjs";
import { connectTabs } from "./tabs.mjs";
import { TerminalView } from "./terminal_view.mjs";
import { createProgram, exercises, factory, wasmBase64 } from "./built.mjs";

function bytesOf(base64) {
    const text = atob(base64);
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i)
        bytes[i] = text.charCodeAt(i);
    return bytes;
}

// Returns window.meter, the interface for tests and other pages.
function publicInterface(meter) {
    return {
        start: ({ arguments: programArguments, store, faults, speed } = {}) =>
            meter.start({ programArguments, store, faults, speed }),
        output: () => meter.run.output.from(),
        errors: () => meter.run.errors.from(),
        store: () => meter.store,
        replaceStore: text => meter.replaceStore(text),
        calls: () => meter.calls,
        waiting: () => meter.waiting,
        exited: () => meter.exited,
    };
}

function connectViews(meter) {
    const terminal = new TerminalView(meter);
    new ControlsView(meter, terminal);
    new ActivityView(meter);
    new LeavesView(meter);
    new NextSaveView(meter, byId("next-save-panel"));
    new ExercisesView(meter, exercises, terminal);
    new KeepView(meter);
    connectDiscardQuestion();
    connectTabs(byId("tabs"));
    return terminal;
}

const engine = new Engine(createProgram, bytesOf(wasmBase64));
const meter = new Meter(engine, factory, startFromFragment(location.hash.slice(1), factory));
const terminal = connectViews(meter);
meter.start();
terminal.focus();
window.meter = publicInterface(meter);
addEventListener("hashchange", () => {
    meter.usual = startFromFragment(location.hash.slice(1), factory);
    meter.start();
});
