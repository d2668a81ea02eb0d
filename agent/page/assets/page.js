// Keeps the page fresh. The server renders; this only fetches the document again when the stream
// says that something is new, and exchanges the parts that differ, so that the focus, the place on
// the page and what is folded open stay. When nothing is heard, or the last completed poll gets too
// old, it says so: what is old is never shown as true.
(() => {
    "use strict";

    const kQuiet = 15;     // seconds without news after which we ask
    const kPatience = 5;   // seconds for an answer
    const kLostAfter = 10; // seconds without an answer after which the page is grey

    const known = new Map();  // part -> its text as the server sent it
    let top = read();
    let heard = Date.now();   // the last sign of life of the stream
    let lostSince = 0;        // 0: the server answers
    let asking = false;
    let askAgain = false;
    let level = textOf("level");

    for (const part of document.querySelectorAll("[data-part]")) {
        known.set(part.dataset.part, part.outerHTML);
    }

    function textOf(id) {
        const element = document.getElementById(id);
        return element === null ? "" : element.textContent.trim();
    }

    // What the header says of time; the host's clock counts, not ours.
    function read() {
        const header = document.querySelector("header[data-now]");
        if (header === null) return null;
        return {
            now: Number(header.dataset.now),
            polled: Number(header.dataset.polled),
            staleAfter: Number(header.dataset.staleAfter),
            stream: header.dataset.stream,
            at: Date.now(),
        };
    }

    function hostNow() {
        return top.now + Math.max(0, Date.now() - top.at) / 1000;
    }

    // As the server writes spans of time: the two largest units.
    function spanText(seconds) {
        const span = Math.max(0, Math.floor(seconds));
        const units = [[86400, "d", 3600, "h"], [3600, "h", 60, "min"], [60, "min", 1, "s"]];
        for (const [size, name, next, nextName] of units) {
            if (span < size) continue;
            const rest = Math.floor((span % size) / next);
            const text = Math.floor(span / size) + " " + name;
            return rest === 0 ? text : text + " " + rest + " " + nextName;
        }
        return span + " s";
    }

    function announce() {
        const now = textOf("level");
        if (now === level) return;
        level = now;
        document.getElementById("news").textContent = now + ": " + textOf("sentence");
    }

    // How to find again what has the focus; null when nothing of a part has.
    function focusIn(part) {
        const active = document.activeElement;
        if (active === null || !part.contains(active)) return null;
        const href = active.getAttribute("href");
        if (href !== null) return 'a[href="' + CSS.escape(href) + '"]';
        return active.tagName === "SUMMARY" ? "summary" : null;
    }

    function exchange(old, fresh) {
        const focus = focusIn(old);
        const open = [...old.querySelectorAll("details[open]")].map((each) => each.id);
        const node = document.importNode(fresh, true);
        for (const details of node.querySelectorAll("details")) {
            if (open.includes(details.id)) details.open = true;
        }
        old.replaceWith(node);
        if (focus === null) return;
        const again = node.querySelector(focus);
        if (again !== null) again.focus({ preventScroll: true });
    }

    function show(text) {
        const fresh = new DOMParser().parseFromString(text, "text/html");
        const parts = [...fresh.querySelectorAll("[data-part]")];
        const names = parts.map((part) => part.dataset.part).join();
        const here = [...document.querySelectorAll("[data-part]")];
        if (names !== here.map((part) => part.dataset.part).join()) {
            location.reload();  // another kind of page by now
            return;
        }
        parts.forEach((part, i) => {
            if (known.get(part.dataset.part) === part.outerHTML) return;
            known.set(part.dataset.part, part.outerHTML);
            exchange(here[i], part);
        });
        document.title = fresh.title;
        document.body.className = fresh.body.className;
        top = read();
        tick();
        announce();
    }

    async function ask() {
        if (asking) {
            askAgain = true;
            return;
        }
        asking = true;
        askAgain = false;
        const patience = new AbortController();
        const timer = setTimeout(() => patience.abort(), kPatience * 1000);
        try {
            const answer = await fetch(location.href, {
                cache: "no-store", credentials: "same-origin", signal: patience.signal,
            });
            if (answer.status === 404) {
                location.reload();  // the object is gone; the server says it better
                return;
            }
            if (!answer.ok) throw new Error(String(answer.status));
            const text = await answer.text();
            lostSince = 0;
            heard = Date.now();
            show(text);
        } catch (error) {
            if (lostSince === 0) lostSince = heard;
        } finally {
            clearTimeout(timer);
            asking = false;
        }
        if (askAgain) ask();
    }

    function turnGrey(sentence) {
        document.body.classList.add("lost");
        const header = document.querySelector("header[data-part]");
        const word = header.querySelector(".level .word");
        const shape = header.querySelector(".level use");
        if (word.textContent !== "UNKNOWN") {
            word.textContent = "UNKNOWN";
            shape.setAttribute("href", "#i-unknown");
            document.title = document.title.replace(/^[A-Z]+/, "UNKNOWN");
            known.delete("top");  // whatever comes next differs
        }
        document.getElementById("sentence").textContent = sentence;
        announce();
    }

    // Once a second: ages, and whether what is shown may still be believed.
    function tick() {
        for (const element of document.querySelectorAll("time[data-at]")) {
            const text = spanText(hostNow() - Number(element.dataset.at));
            if (element.textContent !== text) element.textContent = text;
        }
        const silent = (Date.now() - lostSince) / 1000;
        const age = hostNow() - top.polled;
        if (lostSince !== 0 && silent >= kLostAfter) {
            turnGrey("nothing is known: raidwatch has not answered for " + spanText(silent));
        } else if (top.polled > 0 && age > top.staleAfter) {
            if (!document.body.classList.contains("stale")) {
                turnGrey("nothing is known: the last completed poll is " + spanText(age) + " old");
            }
        } else {
            document.body.classList.remove("lost");
        }
    }

    if (top === null) return;
    const stream = new EventSource(top.stream);
    stream.addEventListener("state", () => {
        heard = Date.now();
        ask();
    });
    stream.addEventListener("open", () => {
        heard = Date.now();
        ask();
    });
    stream.addEventListener("error", () => ask());
    setInterval(() => {
        tick();
        if (Date.now() - heard > kQuiet * 1000) ask();
    }, 1000);
    tick();
})();
