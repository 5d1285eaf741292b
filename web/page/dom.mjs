// Helpers for the document.

export function byId(id) {
    return document.getElementById(id);
}

// element("p", {class: "note"}, "text", child...)
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

// Announces an important message, also to screen readers.
export function announce(text) {
    byId("announcement").textContent = text;
}

export function saveFile(name, type, text) {
    const address = URL.createObjectURL(new Blob([text], { type }));
    element("a", { href: address, download: name }).click();
    setTimeout(() => URL.revokeObjectURL(address), 10000);
}

// Runs `work` after pending drawing, at most once in each turn of the event loop.
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
