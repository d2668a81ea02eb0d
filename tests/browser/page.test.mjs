// The page of a real raidwatch in a real browser.

import assert from "node:assert/strict";
import { after, before, describe, test } from "node:test";

import {
    Browser, Daemon, RecordedMachine, accessibilityFaults, kDesktop, kPhone, scenarioWith, screenshot,
    waitFor,
} from "./support.mjs";

let browser;
before(async () => { browser = await Browser.start(); });
after(async () => { await browser.stop(); });

const text = (page, selector) => page.locator(selector).first().innerText();
const isLost = (page) => page.evaluate(() => document.body.classList.contains("lost"));
const width = (page) => page.evaluate(() => document.documentElement.scrollWidth);

async function expectGrey(page) {
    const tone = await page.evaluate(
        () => getComputedStyle(document.querySelector(".level")).backgroundColor);
    const [r, g, b] = tone.match(/\d+/g).map(Number);
    assert.ok(Math.max(r, g, b) - Math.min(r, g, b) < 40, tone + " is no grey");
    const filter = await page.evaluate(
        () => getComputedStyle(document.querySelector("main")).filter);
    assert.equal(filter, "grayscale(1)");
}

// All that the shelf's story tells has happened.
async function toTheEnd(daemon) {
    await waitFor("the end of the story", () => daemon.state()?.arrays[0].task?.percent === 41);
}

describe("a shelf of 24 bays whose array is rebuilt", { concurrency: false }, () => {
    let daemon;
    before(async () => {
        daemon = await Daemon.start("scenario:" + process.env.QEL_SOURCE + "/tests/browser/shelf.json",
            { pace: 0.02, settings: `[sink.mail]
type = "mail"
to = ["ina@example.net"]
from = "raidwatch@example.net"
url = "smtp://127.0.0.1:1"
timeout = "1s"
` });
        await toTheEnd(daemon);
    });
    after(async () => { await daemon.stop(); });

    test("shows everything on one screen", async () => {
        const page = await browser.open(daemon.url());
        assert.match(await text(page, "h1"), /^CRITICAL\s.*1 array rebuilding: array 0:0/s);
        assert.match(await text(page, ".looked"), /last completed poll \d+ s ago/);
        const array = await text(page, ".array");
        for (const part of [/RAID 6/, /131\.0 TB/, /rebuilding/, /survives 1 more drive failure/,
                            /exposed for/, /rebuild 41 %/, /left/]) {
            assert.match(array, part);
        }
        assert.equal(await page.locator(".array").first().locator(".chip").count(), 22);
        const bays = page.locator("svg.bays").first();
        assert.match(await bays.getAttribute("aria-label"), /24 bays: 2 empty, 1 failed/);
        assert.match(await bays.locator(".bay.pull").getAttribute("aria-label"),
                     /^bay 7: .*failed, pull this one, of array 0:0, serial R8K707Q65/);
        assert.equal(await bays.locator(".bay.keep").count(), 20);
        assert.equal(await bays.locator(".unit").count(), 8);
        assert.match(await bays.locator(".unit.t-bad").getAttribute("aria-label"), /fan 2 failed, 0 rpm/);
        assert.deepEqual(await bays.locator(".unit-value").allTextContents(),
                         ["5220 rpm", "0 rpm", "5230 rpm", "5180 rpm", "27 °C", "44 °C"]);
        const incidents = await text(page, "#incidents");
        for (const part of [/fan 2 of enclosure .* failed/, /What to do/, /raidwatch ack \d/,
                            /may be pulled: drive 0:0:7, SLOT 07, serial R8K707Q65/,
                            /Do not pull it yet: array 0:0 lacks redundancy/]) {
            assert.match(incidents, part);
        }
        assert.equal(await page.locator(".timeline .gap").count(), 1);
        assert.ok(await page.locator(".timeline use").count() > 0);
        assert.match(await text(page, ".events"), /Fan 2|fan 2|Fan/);
        await waitFor("a failed mail", async () =>
            /failing/.test(await text(page, ".sinks tr.t-bad, #sinks")));
        assert.match(await text(page, "#sinks"), /log\s.*ok/s);
        await screenshot(page, "overview-light");
        const size = await page.evaluate(() => [document.documentElement.scrollWidth,
                                                document.documentElement.scrollHeight]);
        assert.deepEqual(size, [kDesktop.width, kDesktop.height]);
        assert.deepEqual(page.complaints, []);
        await page.context().close();
    });

    test("changes nothing", async () => {
        const page = await browser.open(daemon.url());
        assert.equal(await page.locator("form, button, input, select, textarea, iframe").count(), 0);
        const hrefs = await page.locator("a").evaluateAll(
            (links) => links.map((each) => each.getAttribute("href")));
        for (const href of hrefs) assert.match(href, /^(#main|\/|\/object\?key=[\w.%-]+)$/);
        await page.context().close();
    });

    test("has a page for each object", async () => {
        const page = await browser.open(daemon.url());
        await page.locator(".array h3 a").first().click();
        await page.waitForURL(/\/object\?key=array/);
        assert.equal(await text(page, "h1"), "array 0:0");
        assert.ok(await page.locator(".chart").count() >= 1);
        await screenshot(page, "array");
        await page.locator(".chip.t-bad").click();
        await page.waitForURL(/drive/);
        assert.match(await text(page, "#facts"), /Pull this one: it has failed\./);
        await screenshot(page, "drive");
        const data = await page.getByRole("link", { name: "JSON" }).getAttribute("href");
        const answer = await page.request.get(new URL(data, daemon.url()).href);
        assert.equal((await answer.json()).serial, "R8K707Q65");
        await page.getByRole("link", { name: "enclosure 0:0:64" }).click();
        await page.waitForURL(/enclosure/);
        assert.equal(await page.locator("svg.bays .bay").count(), 24);
        assert.match(await text(page, "#events"), /Fan 2 failed/);
        await page.goto(new URL("/object?key=controller%3ASN2400", daemon.url()).href);
        assert.match(await text(page, "#facts"), /51 °C/);
        await page.getByRole("link", { name: "Everything" }).click();
        assert.match(await text(page, "h1"), /CRITICAL/);
        assert.deepEqual(page.complaints, []);
        await page.context().close();
    });

    for (const colorScheme of ["light", "dark"]) {
        test("is accessible, " + colorScheme, async () => {
            const page = await browser.open(daemon.url(), { colorScheme });
            if (colorScheme === "dark") await screenshot(page, "overview-dark");
            assert.deepEqual(await accessibilityFaults(page), []);
            const ground = await page.evaluate(
                () => getComputedStyle(document.body).backgroundColor.match(/\d+/g).map(Number));
            assert.ok(colorScheme === "dark" ? ground[0] < 60 : ground[0] > 200);
            await page.goto(new URL("/object?key=array%3A0%3A0", daemon.url()).href);
            assert.deepEqual(await accessibilityFaults(page), []);
            await page.context().close();
        });

        // axe leaves out what stands in drawings.
        test("drawings have contrast, " + colorScheme, async () => {
            const page = await browser.open(daemon.url(), { colorScheme });
            const faults = await page.evaluate(() => {
                const light = (colour) => {
                    const parts = colour.match(/[\d.]+/g).slice(0, 3).map(Number);
                    const [r, g, b] = parts.map((each) => {
                        const c = each / 255;
                        return c <= 0.03928 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4;
                    });
                    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
                };
                const ratio = (a, b) =>
                    (Math.max(light(a), light(b)) + 0.05) / (Math.min(light(a), light(b)) + 0.05);
                const opaque = (colour) => colour.startsWith("rgb(");
                const page = getComputedStyle(document.body).backgroundColor;
                const found = [];
                let looked = 0;
                for (const each of document.querySelectorAll(".bays text, .timeline text")) {
                    if (getComputedStyle(each).display === "none" || each.textContent === "") continue;
                    const group = each.closest("g, a");
                    const behind = each.classList.contains("mark") && group.querySelector(".flag") ||
                        (each.closest(".bays") ? group.querySelector(".box")
                                               : document.querySelector(".ground"));
                    const fill = behind === null ? page : getComputedStyle(behind).fill;
                    const ground = each.classList.contains("hour") || !opaque(fill) ? page : fill;
                    const value = ratio(getComputedStyle(each).fill, ground);
                    ++looked;
                    if (value < 4.5) found.push(each.textContent + " " + value.toFixed(2));
                }
                if (looked < 80) found.push("only " + looked + " texts");
                return found;
            });
            assert.deepEqual(faults, []);
            await page.context().close();
        });
    }

    test("can be read on a phone", async () => {
        for (const path of ["/", "/object?key=array%3A0%3A0", "/object?key=drive%3AR8K707Q65",
                            "/object?key=enclosure%3AEN0024", "/object?key=controller%3ASN2400"]) {
            const page = await browser.open(new URL(path, daemon.url()).href,
                                            { viewport: kPhone, isMobile: true, hasTouch: true });
            assert.equal(await width(page), kPhone.width, path);
            const small = await page.locator("main :is(p, a, td, span, strong)").evaluateAll(
                (all) => all.filter((each) => each.textContent.trim() !== "" &&
                    parseFloat(getComputedStyle(each).fontSize) < 11.5).length);
            assert.equal(small, 0, path);
            if (path === "/") {
                assert.match(await text(page, "h1"), /CRITICAL/);
                await screenshot(page, "phone", { fullPage: true });
            }
            await page.context().close();
        }
    });

    test("can be used with the keyboard", async () => {
        const page = await browser.open(daemon.url());
        await page.keyboard.press("Tab");
        assert.equal(await page.evaluate(() => document.activeElement.textContent),
                     "Skip to the content");
        assert.ok(await page.evaluate(() => document.activeElement.getBoundingClientRect().left >= 0));
        const reached = new Set();
        for (let i = 0; i < 90; ++i) {
            await page.keyboard.press("Tab");
            reached.add(await page.evaluate(() => document.activeElement.getAttribute("href") ??
                                                  document.activeElement.tagName));
        }
        const links = await page.locator("main a").evaluateAll(
            (all) => all.map((each) => each.getAttribute("href")));
        for (const href of links) assert.ok(reached.has(href), href + " is out of reach");
        // The focus can be seen, in drawings too.
        await page.locator(".bay.pull").focus();
        await page.keyboard.press("Shift+Tab");
        await page.keyboard.press("Tab");
        const outline = await page.locator(".bay.pull").evaluate(
            (bay) => getComputedStyle(bay).outline);
        assert.match(outline, /solid 2px/);
        await page.keyboard.press("Enter");
        await page.waitForURL(/R8K707Q65/);
        await page.context().close();
    });

    test("works without JavaScript", async () => {
        const page = await browser.open(daemon.url(), { javaScriptEnabled: false });
        assert.match(await text(page, "h1"), /^CRITICAL/);
        assert.match(await text(page, "#arrays"), /rebuild 41 %/);
        assert.equal(await page.locator(".bay.pull").count(), 1);
        assert.match(await text(page, "#sinks"), /log/);
        await page.locator(".chip.t-bad").click();
        await page.waitForURL(/R8K707Q65/);
        assert.deepEqual(page.complaints, []);
        await page.context().close();
    });
});

// Milliseconds from the poll that saw it to the page that shows it.
async function timeUntilShown(page, daemon, machine, step, state) {
    machine.turnTo(step);
    await waitFor("the daemon to see it", () => daemon.array() === state);
    const began = Date.now();
    await waitFor("the page to show it", async () =>
        (await text(page, "#arrays .array .state")).includes(state));
    return Date.now() - began;
}

describe("news", () => {
    test("are shown within two seconds, and nothing else moves", async () => {
        const machine = new RecordedMachine("raid5-pull", "01-clean");
        const daemon = await Daemon.start(machine.source, { pace: 0.1 });
        try {
            const page = await browser.open(daemon.url(), { viewport: { width: 1280, height: 300 } });
            assert.match(await text(page, "h1"), /^(OK|UNKNOWN)/);
            const chip = page.locator(".chip").last();
            await chip.focus();
            const href = await chip.getAttribute("href");
            await page.evaluate(() => {
                window.scrollTo(0, 40);
                window.marked = true;
            });
            const scrolled = await page.evaluate(() => window.scrollY);
            const took = [await timeUntilShown(page, daemon, machine, "03-degraded", "degraded")];
            assert.match(await text(page, "h1"), /^CRITICAL/);
            assert.match(await page.title(), /^CRITICAL/);
            assert.match(await page.locator("#news").textContent(), /^CRITICAL/);
            assert.equal(await page.evaluate(() => window.marked), true);  // no reload
            assert.equal(await page.evaluate(() => window.scrollY), scrolled);
            const focused = await page.evaluate(() => document.activeElement.getAttribute("href"));
            assert.equal(focused, href);
            // A machine that is busy with other things may be slow once.
            while (Math.min(...took) > 2000 && took.length < 7) {
                const [step, state] = took.length % 2 === 1 ? ["01-clean", "normal"]
                                                            : ["03-degraded", "degraded"];
                took.push(await timeUntilShown(page, daemon, machine, step, state));
            }
            assert.ok(Math.min(...took) <= 2000, took + " ms");
            assert.deepEqual(page.complaints, []);
            await page.context().close();
        } finally {
            await daemon.stop();
            machine.remove();
        }
    });
});

describe("what is old", { concurrency: true }, () => {
    test("turns grey when the daemon no longer answers, and comes back", async () => {
        const daemon = await Daemon.start(
            "scenario:" + process.env.QEL_SOURCE + "/storlib/sources/scenarios/host-is-flooded.json",
            { pace: 0.2 });
        try {
            const page = await browser.open(daemon.url());
            assert.equal(await isLost(page), false);
            daemon.process.kill("SIGSTOP");
            await waitFor("the page to turn grey", () => isLost(page));
            assert.match(await text(page, "h1"), /^UNKNOWN\s+nothing is known: raidwatch has not answered/);
            assert.match(await page.title(), /^UNKNOWN/);
            await screenshot(page, "lost");
            await expectGrey(page);
            daemon.process.kill("SIGCONT");
            await waitFor("the page to come back", async () => !await isLost(page));
            assert.doesNotMatch(await text(page, "h1"), /^UNKNOWN/);
            await page.context().close();
        } finally {
            await daemon.stop();
        }
    });

    test("is unknown when the polls hang", async () => {
        const story = scenarioWith((shelf) => {
            shelf.steps = [{ name: "it hangs", after: 2, changes: [{ slow: 600000 }] }];
        });
        const daemon = await Daemon.start(story.source,
                                          { settings: "[incidents]\nstale_after = \"10s\"\n" });
        try {
            const page = await browser.open(daemon.url());
            assert.match(await text(page, "h1"), /^OK/);
            await waitFor("unknown", async () => /^UNKNOWN/.test(await text(page, "h1")));
            assert.match(await text(page, "h1"), /the last completed poll is \d+ s old/);
            await expectGrey(page);
            const plain = await browser.open(daemon.url(), { javaScriptEnabled: false });
            assert.match(await text(plain, "h1"), /^UNKNOWN/);
            assert.match(await text(plain, "#bays"), /Pull nothing/);
            await page.context().close();
            await plain.context().close();
        } finally {
            await daemon.stop();
            story.remove();
        }
    });
});

describe("hostile hardware", () => {
    test("stays text", async () => {
        const evil = "\"><img src=x onerror=alert(1)>'\u202e&lt;";
        const story = scenarioWith((shelf) => {
            shelf.steps = [];
            const [card] = shelf.controllers;
            card.serial = evil;
            card.name = "<script>alert(2)</script>";
            card.logicalDrives[0].name = "</h3></li><script>alert(3)</script>";
            const [channel] = card.channels;
            channel.drives.forEach((drive, i) => {
                drive.serial = evil + i;
                drive.model = "<svg onload=alert(4)>";
                drive.part = "javascript:alert(5)";
            });
            channel.drives[3].state = "failed";
            card.logicalDrives[0].state = "degraded";
            channel.sesEnclosures[0].serial = "../../\"><b>";
            channel.sesEnclosures[0].elements.forEach((each, i) => {
                each.descriptor = "<i>\u001b[31m" + i;
            });
        });
        const daemon = await Daemon.start(story.source, { pace: 0.2 });
        try {
            const page = await browser.open(daemon.url());
            await waitFor("the page", async () => /degraded/.test(await text(page, "#arrays")));
            assert.equal(await page.locator("img, main script, b, i").count(), 0);
            assert.match(await text(page, "#arrays"), /<\/h3><\/li><script>alert\(3\)<\/script>/);
            const hrefs = await page.locator("main a").evaluateAll(
                (all) => [...new Set(all.map((each) => each.getAttribute("href")))]);
            assert.ok(hrefs.length > 25);
            for (const href of hrefs.slice(0, 12).concat(hrefs.slice(-4))) {
                const answer = await page.goto(new URL(href, daemon.url()).href);
                assert.equal(answer.status(), 200, href);
                assert.equal(await page.locator("img, main script, b, i").count(), 0);
            }
            await page.goto(new URL("/object?key=%22%3E%3Cimg%20src%3Dx%3E", daemon.url()).href);
            assert.equal(await page.locator("img").count(), 0);
            assert.deepEqual(page.complaints.filter((each) => !/404/.test(each)), []);
            await page.context().close();
        } finally {
            await daemon.stop();
            story.remove();
        }
    });
});
