// The view of the calls that the next save would make. To find these calls, a second run repeats the session
// and saves.

import { callItem } from "./activity_view.mjs";
import { byId, element, soon } from "./dom.mjs";
import { describeCall } from "./meter_words.mjs";

export class NextSaveView {
    constructor(meter, panel) {
        this.meter = meter;
        this.panel = panel;
        this.list = byId("next-save");
        this.seen = {};
        meter.addEventListener("change", soon(() => this.show()));
        panel.addEventListener("shown", () => this.show());
    }

    show() {
        if (this.panel.hidden || !this.isStale())
            return;
        const lines = this.meter.nextSave();
        const calls = (lines ?? []).map(describeCall).filter(call => call.kind !== "read");
        this.list.replaceChildren(...calls.map(callItem));
        byId("next-save-note").textContent = this.note(lines, calls);
    }

    // Typed letters do not make the view stale, because an answer has no effect before Enter.
    isStale() {
        const { run } = this.meter;
        const count = run.inputs.filter(({ kind, typed }) => kind !== "key" || typed < 0x20).length;
        const same = this.seen.run === run && this.seen.count === count;
        this.seen = { run, count };
        return !same;
    }

    note(lines, calls) {
        if (this.meter.exited !== null)
            return "The program has ended.";
        if (lines === null)
            return "Nothing has been changed, so there is nothing to save.";
        return calls.some(call => call.trouble) ? "A save would do this, and report an error:" : "A save would do this, in this order:";
    }
}
