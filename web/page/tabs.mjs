// Arrow keys move between the tabs, as the ARIA pattern for tabs requires.

export function connectTabs(list) {
    const tabs = [...list.querySelectorAll("[role=tab]")];
    const panelOf = tab => document.getElementById(tab.getAttribute("aria-controls"));
    const select = chosen => {
        for (const tab of tabs) {
            tab.setAttribute("aria-selected", tab === chosen);
            tab.tabIndex = tab === chosen ? 0 : -1;
            panelOf(tab).hidden = tab !== chosen;
        }
        panelOf(chosen).dispatchEvent(new Event("shown"));
    };
    const steps = { ArrowRight: 1, ArrowLeft: -1 };
    list.addEventListener("keydown", event => {
        const at = tabs.indexOf(event.target);
        const next = { Home: 0, End: tabs.length - 1 }[event.key] ??
            (event.key in steps ? (at + steps[event.key] + tabs.length) % tabs.length : at);
        if (next === at)
            return;
        event.preventDefault();
        tabs[next].focus();
        select(tabs[next]);
    });
    tabs.forEach(tab => tab.addEventListener("click", () => select(tab)));
    select(tabs[0]);
}
