// Downloads the session as the transcript of a dialogue test, as text, or as a page.

import { byId, saveFile } from "./dom.mjs";
import { describeCall, leafName, shownValue } from "./meter_words.mjs";

const usualSentence = "A session kept from the page.";

function callLines(meter) {
    return meter.calls.split("\n").filter(Boolean).map(describeCall).flatMap(({ text, details, trouble }) =>
        [`- ${text}${trouble ? ` (${trouble})` : ""}`, ...details.map(detail => `    ${detail}`)]);
}

function changeLines(meter) {
    const lines = meter.changesInSession().map(({ path, old, now }) =>
        `- ${leafName(path)}: ${shownValue(old)} -> ${shownValue(now)}\n    ${path}`);
    return lines.length > 0 ? lines : ["- nothing"];
}

function startLines(meter) {
    const { programArguments, faults } = meter.run.setup;
    return [`Started with: meter-settings ${programArguments.join(" ")}`.trimEnd(),
        ...faults ? ["Faults:", ...faults.trimEnd().split("\n").map(line => `    ${line}`)] : []];
}

// Returns the session as text, with typed keys in ‹ ›.
function asText(meter, sentence) {
    const console = meter.readable().map(({ text, typed }) => typed ? `‹${text}›` : text).join("");
    return [sentence, "", ...startLines(meter), "", "Console", "-------", console, "",
        "What the program did", "--------------------", ...callLines(meter), "",
        "What changed on the meter", "-------------------------", ...changeLines(meter), ""].join("\n");
}

function escaped(text) {
    return text.replaceAll("&", "&amp;").replaceAll("<", "&lt;").replaceAll(">", "&gt;");
}

function asPage(meter, sentence) {
    const console = meter.readable().map(({ text, typed }) =>
        typed ? `<kbd>${escaped(text)}</kbd>` : escaped(text)).join("");
    return `<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<title>${escaped(sentence)}</title>
<style>
body { font: 16px/1.5 sans-serif; margin: 2em auto; max-width: 60em; padding: 0 1em; }
pre { overflow-x: auto; border: 1px solid #888; padding: 1em; font-size: 14px; line-height: 1.25; }
kbd { background: #ffe08a; color: #000; font: inherit; }
</style>
<h1>${escaped(sentence)}</h1>
<pre>${escaped(startLines(meter).join("\n"))}</pre>
<h2>Console</h2>
<pre>${console}</pre>
<h2>What the program did</h2>
<pre>${escaped(callLines(meter).join("\n"))}</pre>
<h2>What changed on the meter</h2>
<pre>${escaped(changeLines(meter).join("\n"))}</pre>
</html>
`;
}

export class KeepView {
    constructor(meter) {
        const sentence = () => byId("session-shows").value.trim() || usualSentence;
        byId("keep-transcript").addEventListener("click", () =>
            saveFile("session.dialogue", "text/plain", meter.transcript(sentence())));
        byId("keep-text").addEventListener("click", () =>
            saveFile("session.txt", "text/plain", asText(meter, sentence())));
        byId("keep-page").addEventListener("click", () =>
            saveFile("session.html", "text/html", asPage(meter, sentence())));
    }
}
