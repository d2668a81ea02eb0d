// What the browser tests share: a real raidwatch with folders of its own, and a real Chromium that
// remembers everything it complained of.

import { spawn, execFileSync } from "node:child_process";
import fs from "node:fs";
import { createRequire } from "node:module";
import os from "node:os";
import path from "node:path";

export const build = process.env.QEL_BUILD;
export const source = process.env.QEL_SOURCE;
const require = createRequire(path.join(build, "browser/"));
const { chromium } = require("playwright-core");
const axeSource = fs.readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");

export const kDesktop = { width: 1280, height: 800 };
export const kPhone = { width: 390, height: 844 };
const kPatience = 60000;  // milliseconds; only a hang takes that long

export async function waitFor(what, condition, limit = kPatience) {
    const end = Date.now() + limit;
    for (;;) {
        const value = await condition();
        if (value) return value;
        if (Date.now() > end) throw new Error("waited in vain for " + what);
        await new Promise((done) => setTimeout(done, 20));
    }
}

// `raidwatch run` over a source, until stop().
export class Daemon {
    static async start(source, { pace = 1, settings = "" } = {}) {
        const daemon = new Daemon(source, pace, settings);
        await waitFor("the first poll", () => {
            if (daemon.ended) throw new Error("raidwatch has ended: " + daemon.log());
            return daemon.state()?.polledAt > 0 && daemon.url() !== undefined;
        });
        return daemon;
    }

    constructor(source, pace, settings) {
        this.folder = fs.mkdtempSync(path.join(os.tmpdir(), "raidwatch-browser-"));
        const config = path.join(this.folder, "raidwatch.toml");
        fs.writeFileSync(config, `[monitor]
source = ${JSON.stringify(source)}
[paths]
state = "${this.folder}/state"
run = "${this.folder}/run"
engine = "${this.folder}/engine"
[http]
listen = ["127.0.0.1:0"]
[sink.journal]
enabled = false
[sink.log]
type = "file"
path = "${this.folder}/out.jsonl"
${settings}`, { mode: 0o600 });
        const out = fs.openSync(path.join(this.folder, "log"), "a");
        this.process = spawn(path.join(build, "bin/raidwatch"),
                             ["run", "--config", config, "--pace", String(pace)],
                             { stdio: ["ignore", out, out] });
        fs.closeSync(out);
        this.process.on("exit", () => { this.ended = true; });
        process.on("exit", () => this.process.kill("SIGKILL"));  // whatever happens to us
    }

    log() { return fs.readFileSync(path.join(this.folder, "log"), "utf8"); }

    state() {
        try {
            return JSON.parse(fs.readFileSync(path.join(this.folder, "run/state.json"), "utf8"));
        } catch {
            return undefined;
        }
    }

    url() { return this.state()?.daemon?.pages?.find((each) => each.startsWith("http://")); }
    array(number = 0) { return this.state()?.arrays[number]?.state; }

    async stop() {
        this.process.kill("SIGCONT");
        this.process.kill("SIGKILL");
        await waitFor("the end of raidwatch", () => this.ended);
        fs.rmSync(this.folder, { recursive: true, force: true });
    }
}

export class Browser {
    static async start() {
        return new Browser(await chromium.launch({ executablePath: "/usr/bin/chromium" }));
    }
    constructor(browser) { this.browser = browser; }

    // A window that lists what went wrong in it.
    async open(url, options = {}) {
        const context = await this.browser.newContext({ viewport: kDesktop, ...options });
        const page = await context.newPage();
        page.setDefaultTimeout(kPatience);
        page.complaints = [];
        page.on("console", (message) => {
            if (message.type() === "error") page.complaints.push(message.text());
        });
        page.on("pageerror", (error) => page.complaints.push(String(error)));
        page.on("dialog", (dialog) => {
            page.complaints.push("dialog: " + dialog.message());
            dialog.dismiss();
        });
        page.on("requestfailed", (request) => {
            const aborted = request.failure()?.errorText === "net::ERR_ABORTED";
            if (!aborted) page.complaints.push("failed: " + request.url());
        });
        page.on("request", (request) => {
            if (new URL(request.url()).origin !== new URL(url).origin) {
                page.complaints.push("foreign: " + request.url());
            }
        });
        if (options.javaScriptEnabled !== false) {
            await page.addInitScript(() => {
                document.addEventListener("securitypolicyviolation", (event) => {
                    console.error("policy: " + event.violatedDirective + " " + event.blockedURI);
                });
            });
        }
        await page.goto(url, { waitUntil: "load" });
        return page;
    }

    async stop() { await this.browser.close(); }
}

export async function screenshot(page, name, options = {}) {
    await page.screenshot({ path: path.join(build, "browser/screenshots", name + ".png"), ...options });
}

// What axe finds: one line each.
export async function accessibilityFaults(page) {
    await page.evaluate(axeSource + "; undefined");
    const result = await page.evaluate(() => window.axe.run(document, {
        runOnly: ["wcag2a", "wcag2aa", "wcag21a", "wcag21aa", "wcag22aa", "best-practice"],
    }));
    return result.violations.map((each) => each.id + ": " + each.nodes.map(
        (node) => node.html.slice(0, 160) + " " + (node.any[0]?.message ?? "")).join(" | "));
}

// A scenario of this folder, changed.
export function scenarioWith(change) {
    const story = JSON.parse(fs.readFileSync(path.join(source, "tests/browser/shelf.json"), "utf8"));
    change(story);
    const folder = fs.mkdtempSync(path.join(os.tmpdir(), "raidwatch-story-"));
    const file = path.join(folder, "story.json");
    fs.writeFileSync(file, JSON.stringify(story));
    return { source: "scenario:" + file, remove: () => fs.rmSync(folder, { recursive: true }) };
}

// A machine that stands in a folder, as a step of a recording left it, and can be given the next.
export class RecordedMachine {
    constructor(recording, step) {
        this.recording = path.join(source, "tests/recordings", recording);
        this.folder = fs.mkdtempSync(path.join(os.tmpdir(), "raidwatch-machine-"));
        this.root = path.join(this.folder, "root");
        fs.mkdirSync(this.root);
        this.turnTo(step);
    }
    turnTo(step) {
        const next = fs.mkdtempSync(path.join(this.folder, "next-"));
        const before = fs.mkdtempSync(path.join(this.folder, "before-"));
        execFileSync("tar", ["xJf", path.join(this.recording, step + ".tar.xz"), "-C", next]);
        for (const name of fs.readdirSync(next)) {
            const place = path.join(this.root, name);
            if (fs.existsSync(place)) fs.renameSync(place, path.join(before, name));
            fs.renameSync(path.join(next, name), place);
        }
    }
    get source() { return "linux:" + this.root; }
    remove() { fs.rmSync(this.folder, { recursive: true }); }
}
