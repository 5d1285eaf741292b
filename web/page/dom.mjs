// Helpers for the document.

export function byId(id) {
    return document.getElementById(id);
}

// Creates an element, for example with element("p", {class: "note"}, "text", child).
export function element(name, attributes = {}, ...children) {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(attributes)) {
        if (key.startsWith("on"))
            made.addEventListener(key.slice(2), value);
        else if (value !== false && value !== null)
            made.setAttribute(key, value === true ? "" : value);
    }
    made.append(...children);
    return made;
}

function setStatus(text, visible) {
    byId("announcement").classList.toggle("visually-hidden", !visible);
    byId("announcement").textContent = text;
}

let hidingStatus = null; // the timer that hides the status line

// Announces a message to screen readers without showing it.
export function announce(text) {
    clearTimeout(hidingStatus);
    setStatus(text, false);
}

// Shows a short message in the status line for ten seconds. Screen readers announce it.
export function showStatus(text) {
    clearTimeout(hidingStatus);
    setStatus(text, true);
    hidingStatus = setTimeout(() => setStatus("", false), 10000);
}

// Downloads a file. Also shows a message, because some browsers show a download only in a corner.
export function saveFile(name, type, text) {
    const address = URL.createObjectURL(new Blob([text], { type }));
    element("a", { href: address, download: name }).click();
    setTimeout(() => URL.revokeObjectURL(address), 10000);
    showStatus(`Download started: ${name}`);
}

// Returns a function that runs `work` soon. Calling it again before `work` runs has no effect.
export function soon(work) {
    let planned = false;
    return () => {
        if (planned)
            return;
        planned = true;
        setTimeout(() => {
            planned = false;
            work();
        });
    };
}
