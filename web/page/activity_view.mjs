// The list of the calls that the program has made so far.

import { byId, element, soon } from "./dom.mjs";
import { describeCall } from "./meter_words.mjs";

const mostEntries = 400;

// Returns the list item for a call that describeCall has described.
export function callItem({ text, details, trouble, kind }) {
    const item = element("li", { class: `call ${kind}` }, element("span", { class: "what" }, text));
    if (trouble)
        item.append(element("strong", { class: "trouble" }, ` ${trouble}`));
    if (details.length > 0)
        item.append(element("ul", {}, ...details.map(detail => element("li", {}, detail))));
    return item;
}

export class ActivityView {
    constructor(meter) {
        this.meter = meter;
        this.list = byId("activity");
        meter.addEventListener("start", () => this.clear());
        meter.addEventListener("change", soon(() => this.show()));
    }

    clear() {
        this.list.replaceChildren();
        this.linesShown = 0;
        this.lastLine = "";
        this.repeated = 1;
    }

    show() {
        const lines = this.meter.calls.split("\n").slice(0, -1);
        for (const line of lines.slice(this.linesShown))
            this.add(line);
        if (lines.length > this.linesShown)
            this.list.scrollTop = this.list.scrollHeight;
        this.linesShown = lines.length;
    }

    add(line) {
        if (line === this.lastLine) {
            this.countAgain();
            return;
        }
        this.lastLine = line;
        this.repeated = 1;
        this.list.append(callItem(describeCall(line)));
        if (this.list.children.length > mostEntries)
            this.list.firstChild.remove();
    }

    countAgain() {
        const item = this.list.lastChild;
        item.querySelector(".times")?.remove();
        item.querySelector(".what").after(element("span", { class: "times" }, ` × ${++this.repeated}`));
    }
}
