// The terminal on the page. It shows the program's output and reads the user's keys.

import { Terminal } from "./xterm.mjs";
import { byId } from "./dom.mjs";

const columns = 80;
const fewestRows = 24;
const mostRows = 44;
const smallestFont = 11;
const largestFont = 17;
const fontFamily = '"DejaVu Sans Mono", "Liberation Mono", Menlo, Consolas, "Courier New", monospace';
const theme = { background: "#101820", foreground: "#e6edf3", cursor: "#ffd866", selectionBackground: "#3b5b7a" };

function characterWidth() {
    const context = document.createElement("canvas").getContext("2d");
    context.font = `100px ${fontFamily}`;
    return context.measureText("M").width / 100;
}

export class TerminalView {
    constructor(meter) {
        this.meter = meter;
        this.shown = 0;
        this.errorsShown = 0;
        this.endShown = false;
        this.frame = byId("terminal-frame");
        this.terminal = new Terminal({
            cols: columns, rows: fewestRows, convertEol: true, fontFamily, theme,
            scrollback: 5000, fontSize: this.fontSize(), minimumContrastRatio: 4.5, cursorBlink: false,
        });
        this.terminal.open(byId("terminal"));
        // The program does not use the Tab key, so Tab moves the focus out of the terminal.
        this.terminal.attachCustomKeyEventHandler(event => event.key !== "Tab");
        this.terminal.onData(text => this.type(text));
        this.terminal.textarea.setAttribute("aria-label", "Console of the meter. Tab leaves it.");
        meter.addEventListener("start", () => this.clear());
        meter.addEventListener("change", () => this.show());
        const rendered = this.terminal.onRender(() => {
            performance.mark("first screen");
            rendered.dispose();
            // The screen reader mode places text over the rows, so it can start only now, when the height of
            // the rows is known.
            this.terminal.options.screenReaderMode = true;
        });
        new ResizeObserver(() => this.fit()).observe(this.frame);
        new ResizeObserver(() => this.showScrollHint()).observe(byId("terminal"));
        addEventListener("resize", () => this.fit());
        this.fit();
    }

    showScrollHint() {
        byId("scroll-hint").hidden = this.frame.scrollWidth <= this.frame.clientWidth;
    }

    type(text) {
        if (this.meter.exited === null)
            this.meter.type(text);
        else if (text.includes("\r"))
            this.meter.startAgain();
    }

    clear() {
        this.terminal.reset();
        this.shown = 0;
        this.errorsShown = 0;
        this.endShown = false;
    }

    show() {
        const { run } = this.meter;
        if (run.errors.length > this.errorsShown)
            this.terminal.write(run.errors.from(this.errorsShown));
        this.errorsShown = run.errors.length;
        if (run.output.length > this.shown)
            this.terminal.write(run.output.from(this.shown), () => this.frame.dispatchEvent(new Event("taken")));
        this.shown = run.output.length;
        if (run.exitStatus !== null && !this.endShown) {
            this.endShown = true;
            this.terminal.write(`\r\n\x1b[93mThe program has ended with status ${run.exitStatus}. ` +
                "Press Enter to start it again.\x1b[0m");
        }
    }

    fontSize() {
        const fitting = this.frame.clientWidth / (columns * characterWidth() + 2);
        return Math.min(Math.max(Math.floor(fitting * 4) / 4, smallestFont), largestFont);
    }

    // Sets the largest font at which all columns fit. If the smallest font is too wide, the frame scrolls.
    fit() {
        const size = this.fontSize();
        if (this.terminal.options.fontSize !== size)
            this.terminal.options.fontSize = size;
        const below = 330; // pixels for the contents below the terminal
        const top = this.frame.getBoundingClientRect().top + scrollY;
        const rows = Math.floor((innerHeight - top - below) / (size * 1.2));
        const fitting = Math.min(Math.max(rows, fewestRows), mostRows);
        if (this.terminal.rows !== fitting)
            this.terminal.resize(columns, fitting);
    }

    focus() {
        this.terminal.focus();
    }
}
