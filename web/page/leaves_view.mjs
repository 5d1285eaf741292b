// The view of the meter's leaves. The user can search the leaves, see their changes since the start, and
// change leaves as another program on the meter does.

import { announce, byId, element, soon } from "./dom.mjs";
import { leafName, shownValue } from "./meter_words.mjs";

const mostRows = 300;

export class LeavesView {
    constructor(meter) {
        this.meter = meter;
        this.table = byId("leaves");
        this.search = byId("leaf-search");
        this.onlyChanged = byId("only-changed");
        this.shownStore = null;
        this.editedPath = null;
        const draw = () => this.draw();
        this.search.addEventListener("input", draw);
        this.onlyChanged.addEventListener("change", draw);
        meter.addEventListener("change", soon(() => this.showStore()));
        meter.addEventListener("start", () => {
            this.shownStore = null;
            this.editedPath = null;
        });
    }

    showStore() {
        const store = this.meter.store;
        if (store === this.shownStore || this.editedPath !== null)
            return;
        this.shownStore = store;
        this.draw();
    }

    draw() {
        const changes = new Map(this.meter.changes().map(change => [change.path, change]));
        const leaves = this.meter.tools.leaves(this.meter.store);
        for (const { path, now } of changes.values()) {
            if (now === null)
                leaves.set(path, null);
        }
        const paths = [...leaves.keys()].filter(path => this.isWanted(path, leaves.get(path), changes));
        const rows = paths.slice(0, mostRows).map(path => this.row(path, leaves.get(path), changes.get(path)));
        this.table.replaceChildren(...rows);
        byId("leaf-count").textContent = paths.length > mostRows
            ? `${paths.length} leaves, of which ${mostRows} are shown`
            : `${paths.length} of ${leaves.size} leaves, ${changes.size} changed since the start`;
    }

    isWanted(path, value, changes) {
        if (this.onlyChanged.checked && !changes.has(path))
            return false;
        const text = `${leafName(path)} ${path} ${shownValue(value)}`.toLowerCase();
        return this.search.value.toLowerCase().split(/\s+/).every(word => text.includes(word));
    }

    row(path, value, change) {
        const name = element("th", { scope: "row" }, element("span", {}, leafName(path)));
        if (leafName(path) !== path)
            name.append(element("span", { class: "path" }, path));
        const cell = element("td", {});
        const row = element("tr", { class: change ? "changed" : "", "data-path": path }, name, cell);
        cell.append(value === null ? element("span", {}, shownValue(null)) : this.valueButton(row, cell, path, value));
        if (change)
            cell.append(element("span", { class: "was" }, `was ${shownValue(change.old)}`));
        return row;
    }

    valueButton(row, cell, path, value) {
        return element("button", {
            type: "button", class: "value", "aria-label": `${leafName(path)}: ${shownValue(value)}. Change`,
            onclick: () => this.edit(cell, path, value),
        }, shownValue(value));
    }

    edit(cell, path, value) {
        this.editedPath = path;
        const input = typeof value === "boolean"
            ? element("select", {}, ...[true, false].map(choice =>
                element("option", { value: String(choice), selected: choice === value }, shownValue(choice))))
            : element("input", { value: String(value), type: "text", spellcheck: "false" });
        input.setAttribute("aria-label", `New value: ${leafName(path)}`);
        const error = element("p", { class: "error", role: "alert" });
        const form = element("form", {
            class: "edit",
            onsubmit: event => {
                event.preventDefault();
                this.change(error, tools => tools.set(this.meter.store, path, input.value), path);
            },
            onkeydown: event => {
                if (event.key === "Escape")
                    this.close(path);
            },
        }, input, element("button", { type: "submit" }, "Set"),
            element("button", {
                type: "button",
                onclick: () => this.change(error, tools => tools.clear(this.meter.store, path), path),
            }, "Remove leaf"),
            element("button", { type: "button", onclick: () => this.close(path) }, "Cancel"), error);
        cell.replaceChildren(form);
        input.focus();
        input.select?.();
    }

    change(error, newStore, path) {
        try {
            this.meter.replaceStore(newStore(this.meter.tools));
            announce(`${leafName(path)} was changed on the meter. The next screen shows it.`);
            this.close(path);
        } catch (problem) {
            error.textContent = problem.message;
        }
    }

    close(path) {
        this.editedPath = null;
        this.shownStore = null;
        this.showStore();
        this.table.querySelector(`[data-path="${CSS.escape(path)}"] button`)?.focus();
    }
}
