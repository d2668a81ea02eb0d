// Makes the pictures of README.md anew: tests/browser/run BUILD_FOLDER tests/browser/pictures.mjs
//
// Two days of the shelf's story pass within a minute or so: the clock of raidwatch runs as fast as it
// can (--pace), until the last step makes each look at the machine take its time.

import fs from "node:fs";
import path from "node:path";
import { test } from "node:test";
import { execFileSync } from "node:child_process";

import { Browser, Daemon, build, scenarioWith, screenshot, source, waitFor } from "./support.mjs";

const kPictures = [["light", "/", "light"], ["dark", "/object?key=array%3A0%3A0", "dark"]];
const kPollsPerHour = 720;
const kWatched = 18;  // hours before the first step

test("pictures", async () => {
    const story = scenarioWith((shelf) => {
        for (const step of shelf.steps) {
            step.after = Math.max(1, Math.round((step.hours ?? 0.01) * kPollsPerHour));
        }
        shelf.steps[0].after += kWatched * kPollsPerHour;
        shelf.steps.push({ name: "time slows down", after: 400, changes: [{ slow: 3000 }] });
    });
    const daemon = await Daemon.start(story.source, { pace: 0.00001 });
    const browser = await Browser.start();
    try {
        await waitFor("the end of the story",
                      () => daemon.state()?.arrays[0].task?.percent === 41, 600000);
        await new Promise((done) => setTimeout(done, 5000));
        for (const [name, where, colorScheme] of kPictures) {
            const page = await browser.open(new URL(where, daemon.url()).href, { colorScheme });
            await screenshot(page, "readme-" + name);
            const to = path.join(source, "docs/images", "page-" + name + ".png");
            fs.mkdirSync(path.dirname(to), { recursive: true });
            execFileSync("pngquant", ["--force", "--speed", "1", "--output", to, path.join(
                build, "browser/screenshots", "readme-" + name + ".png")]);
            await page.context().close();
        }
    } finally {
        await browser.stop();
        await daemon.stop();
        story.remove();
    }
});
