// 100,000 elements with about a million values, and a thousand classes: how long a reader waits, and what it takes.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { after, before, test } from "node:test";
import { browser, open, pageOfSample, visit, words } from "./pages.mjs";

const limits = { firstView: 2000, search: 300, step: 1000, megabytes: 500, silence: 2000 };
const large = pageOfSample("large");
const { values, elements, texts } = large.report.documents[0];
const many = pageOfSample("manyClasses");
let tabs;
let page;
before(async () => {
  tabs = await browser();
  page = await open(tabs, large.file);
});
after(() => tabs.close());

// From the change of the address until what it shows has been painted.
function timed(address, limit) {
  return least(limit, async () => {
    if ((await page.evaluate(() => location.hash)) === address) await visit(page, "#/summary");
    return change(address);
  });
}
function change(address) {
  return page.evaluate(async (to) => {
    const painted = () => new Promise((resolve) => requestAnimationFrame(() => setTimeout(resolve, 0)));
    const begun = performance.now();
    location.hash = to;
    await new Promise((resolve) => addEventListener("hashchange", resolve, { once: true }));
    do await painted();
    while (to.startsWith("#/bytes") && !document.querySelector(".notes .row"));
    return performance.now() - begun;
  }, address);
}

// The least of up to three tries: what the machine does beside is not the page's.
async function least(limit, measure) {
  let best = Infinity;
  for (let tries = 0; tries < 3 && best > limit; ++tries) best = Math.min(best, await measure());
  return best;
}

function held(context, what, milliseconds, limit) {
  context.diagnostic(`${what}: ${milliseconds.toFixed(0)} ms, at most ${limit} ms`);
  assert.ok(milliseconds <= limit, `${what} took ${milliseconds} ms`);
}

test("the sample is as large as it says", () => {
  assert.equal(elements.class.length, 100_000);
  assert.ok(values.value.flat().length > 900_000);
  assert.ok(texts.length > 300_000);
});

test("the first view is there in time", async (context) => {
  const milliseconds = await least(limits.firstView, async () => {
    const begun = Date.now();
    const fresh = await open(tabs, large.file);
    const passed = Date.now() - begun;
    assert.match(await words(fresh.locator("main")), /100,000/);
    await fresh.context().close();
    return passed;
  });
  held(context, "from opening the page to its first view", milliseconds, limits.firstView);
});

test("a search is answered in time", async (context) => {
  const first = await timed("#/search/whales", limits.search);
  held(context, "search for what a quarter of the books has", first, limits.search);
  assert.match(await words(page.locator(".found-count")), /^2,500 elements/);
  held(context, "search for what many texts have", await timed("#/search/word%2012", limits.search), limits.search);
  held(context, "search for what nothing has", await timed("#/search/nothing%20has%20this", limits.search), limits.search);
  assert.match(await words(page.locator(".found-count")), /^0 elements/);
});

test("views and elements are shown in time", async (context) => {
  for (const address of ["#/tree", "#/element/0/99999", "#/element/0/0", "#/element/0/1", "#/bytes/0/99999", "#/bytes/0/0", "#/bytes/0/0?page=3", "#/sizes", "#/class/1", "#/tree?class=5"]) {
    held(context, address, await timed(address, limits.step), limits.step);
  }
});

test("only rows that can be seen are in the page", async () => {
  await visit(page, "#/tree");
  assert.ok((await page.locator("[role=treeitem]").count()) < 100);
  await page.locator("[role=tree]").focus();
  await page.keyboard.press("End");
  await page.waitForFunction(() => document.querySelector("[role=tree]").getAttribute("aria-activedescendant"));
  const last = page.locator(".row.active");
  assert.match(await last.textContent(), /^\S*(books|authors)\[\d+\]/);
  assert.ok((await page.locator("[role=treeitem]").count()) < 100);
});

test("the bytes of everything come in pages", async () => {
  await visit(page, "#/bytes/0/0?page=2");
  assert.match(await words(page.locator(".above")), /Page 3 of \d+/);
  await page.locator("a", { hasText: "next" }).click();
  await page.waitForFunction(() => document.querySelector(".above").textContent.includes("Page 4"));
});

test("memory stays bounded", async (context) => {
  for (const address of ["#/search/word", "#/element/0/50000", "#/bytes/0/0", "#/diagram", "#/tree"]) await visit(page, address);
  const { processInfo } = await (await tabs.newBrowserCDPSession()).send("SystemInfo.getProcessInfo");
  const renderers = processInfo.filter((each) => each.type === "renderer");
  assert.ok(renderers.length > 0);
  const most = renderers.map(({ id }) => Number(/VmHWM:\s+(\d+) kB/.exec(readFileSync(`/proc/${id}/status`, "utf8"))[1]) / 1000);
  const heap = await page.evaluate(() => performance.memory.usedJSHeapSize / 1e6);
  context.diagnostic(`most that the process of a page ever had: ${Math.max(...most).toFixed(0)} MB; heap of scripts now: ${heap.toFixed(0)} MB`);
  assert.ok(Math.max(...most) <= limits.megabytes, `${Math.max(...most)} MB`);
});

test("a diagram of a thousand classes is not begun unasked", async () => {
  const tab = await open(tabs, many.file);
  await visit(tab, "#/diagram");
  assert.match(await words(tab.locator("main p[role=status]")), /1,200 classes .*neighbours of one class/);
  assert.equal(await tab.locator(".diagram").count(), 0);
  assert.equal(await tab.locator(".class-list a").count(), 1000);
  await tab.locator("#find-class").fill("class119");
  assert.deepEqual(await tab.locator(".class-list a").allTextContents(), ["Class119", ...Array.from({ length: 10 }, (_, i) => `Class119${i}`)]);
  await tab.locator(".class-list a").last().click();
  await tab.waitForSelector(".diagram");
  assert.ok((await tab.locator("a.box").count()) > 2);
  await visit(tab, "#/diagram?package=1");
  await tab.waitForFunction(() => document.querySelectorAll("a.box").length === 100);
  await tab.context().close();
});

test("the largest diagram that is laid out unasked stops the page for a short while", async (context) => {
  const milliseconds = await least(limits.silence, async () => {
    const tab = await open(tabs, many.file);
    await visit(tab, "#/summary");
    const longest = await longestStop(tab, "#/diagram?package=1");
    await tab.context().close();
    return longest;
  });
  held(context, "longest stop for 100 classes", milliseconds, limits.silence);
});

// The longest time that the page did nothing else, from the change of the address until the diagram is there.
function longestStop(tab, address) {
  return tab.evaluate(async (to) => {
    let longest = 0;
    const observer = new PerformanceObserver((list) => list.getEntries().forEach((each) => (longest = Math.max(longest, each.duration))));
    observer.observe({ type: "longtask" });
    location.hash = to;
    while (!document.querySelector(".diagram")) await new Promise((resolve) => setTimeout(resolve, 20));
    await new Promise((resolve) => setTimeout(resolve, 200));
    return longest;
  }, address);
}
