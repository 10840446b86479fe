// The page without a mouse, and its addresses.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { browser, open, pageOfSample, visit, words } from "./pages.mjs";

const { file } = pageOfSample("small");
const two = pageOfSample("two");
let tabs;
before(async () => (tabs = await browser()));
after(() => tabs.close());

async function withPage(options, use) {
  const page = await open(tabs, options.file ?? file, options);
  await use(page);
  assert.deepEqual(page.wrong, []);
  await page.context().close();
}

const hash = (page) => new URL(page.url()).hash;
const active = (page) => page.evaluate(() => document.getElementById(document.activeElement?.getAttribute("aria-activedescendant") ?? "")?.textContent ?? "");

async function tabTo(page, selector) {
  for (let i = 0; i < 80; ++i) {
    if (await page.evaluate((wanted) => document.activeElement?.matches(wanted) ?? false, selector)) return;
    await page.keyboard.press("Tab");
  }
  assert.fail(`no way to ${selector}`);
}

test("every view is reached by Tab and Enter, and what has the focus is seen", () =>
  withPage({}, async (page) => {
    for (const view of ["diagram", "sizes", "tree", "bytes/0/0", "summary"]) {
      await tabTo(page, `nav a[href="#/${view}"]`);
      const outline = await page.evaluate(() => getComputedStyle(document.activeElement).outlineStyle);
      assert.equal(outline, "solid");
      await page.keyboard.press("Enter");
      await page.waitForFunction((place) => document.querySelector("nav [aria-current=page]")?.getAttribute("href") === place, `#/${view}`);
      assert.equal(await page.evaluate(() => document.activeElement.tagName), "H1", "the heading of the new view has the focus");
    }
  }));

test("the first Tab leads past the navigation", () =>
  withPage({}, async (page) => {
    await page.keyboard.press("Tab");
    await page.keyboard.press("Enter");
    assert.equal(await page.evaluate(() => document.activeElement.tagName), "H1");
    assert.equal(hash(page), "");
  }));

test("the tree is walked by arrows, Home, End, letters and Enter", () =>
  withPage({ address: "#/tree" }, async (page) => {
    await tabTo(page, "[role=tree]");
    assert.match(await active(page), /Riverside Library/);
    await page.keyboard.press("ArrowDown");
    assert.match(await active(page), /books\[0\].*Frankenstein/);
    await page.keyboard.press("ArrowRight");
    await page.keyboard.press("ArrowRight");
    assert.match(await active(page), /Letter 1/);
    await page.keyboard.press("ArrowLeft");
    assert.match(await active(page), /Frankenstein; or/);
    await page.keyboard.press("ArrowLeft");
    assert.equal(await page.locator("[role=treeitem]", { hasText: "Letter 1" }).count(), 0);
    await page.keyboard.press("End");
    assert.match(await active(page), /address Address/);
    await page.keyboard.press("a");
    assert.match(await active(page), /Alice/);
    await page.keyboard.press("Home");
    assert.match(await active(page), /Riverside/);
    await page.keyboard.press("ArrowDown");
    await page.keyboard.press("Enter");
    await page.waitForFunction(() => location.hash === "#/element/0/1");
    assert.equal(await words(page.locator("#element-name")), "Frankenstein; or, The Modern Prometheus");
    assert.equal(await page.evaluate(() => document.activeElement.getAttribute("role")), "tree", "the tree keeps the focus");
  }));

test("bytes are walked piece by piece on either side", () =>
  withPage({ address: "#/bytes/0/1" }, async (page) => {
    await page.waitForSelector(".notes .row");
    await tabTo(page, ".hex");
    const first = await page.locator(".notes .current").getAttribute("data-note");
    await page.keyboard.press("ArrowRight");
    await page.keyboard.press("ArrowRight");
    assert.equal(await page.locator(".notes .current").getAttribute("data-note"), String(Number(first) + 2));
    await page.keyboard.press("Tab");
    await page.keyboard.press("ArrowDown");
    assert.equal(await page.locator(".hex .current").first().getAttribute("data-note"), String(Number(first) + 3));
  }));

test("the diagram grows, shrinks and fits by keys, and a class opens by Enter", () =>
  withPage({ address: "#/diagram" }, async (page) => {
    await page.waitForSelector(".diagram");
    await tabTo(page, ".port");
    const width = () => page.locator(".diagram").evaluate((drawing) => drawing.width.baseVal.value);
    const before = await width();
    await page.keyboard.press("+");
    assert.ok(Math.abs((await width()) / before - 1.25) < 0.01);
    await page.keyboard.press("-");
    await page.keyboard.press("-");
    assert.ok((await width()) < before);
    await page.keyboard.press("0");
    assert.equal(await width(), before);
    await tabTo(page, "a.box[data-box='c3']");
    await page.keyboard.press("Enter");
    await page.waitForSelector("h1:has-text('Book')");
    assert.match(hash(page), /^#\/class\/\d+$/);
  }));

test("the wheel with Ctrl changes the size of the diagram, and dragging moves it", () =>
  withPage({ address: "#/diagram", viewport: { width: 500, height: 500 } }, async (page) => {
    await page.waitForSelector(".diagram");
    const width = () => page.locator(".diagram").evaluate((drawing) => drawing.width.baseVal.value);
    const before = await width();
    await page.locator(".port").hover();
    await page.keyboard.down("Control");
    await page.mouse.wheel(0, -300);
    await page.keyboard.up("Control");
    await page.waitForFunction((least) => document.querySelector(".diagram").width.baseVal.value > least, before * 2);
    const port = await page.locator(".port").boundingBox();
    const left = await page.locator(".port").evaluate((each) => each.scrollTop);
    await page.mouse.move(port.x + 5, port.y + port.height - 25);
    await page.mouse.down();
    await page.mouse.move(port.x + 5, port.y + port.height - 75);
    await page.mouse.up();
    assert.equal(await page.locator(".port").evaluate((each) => each.scrollTop), left + 50);
  }));

test("a class is found in the diagram", () =>
  withPage({ address: "#/diagram" }, async (page) => {
    await page.waitForSelector(".diagram");
    await page.locator("#find-class").fill("book");
    assert.deepEqual(await page.locator(".found .title").allTextContents(), ["Book", "AudioBook"]);
    await page.locator("#find-class").press("Enter");
    assert.equal(await words(page.locator(".tools span[role=status]")), "1 of 2");
  }));

test("unused classes come with all, and neighbours alone with a class", () =>
  withPage({ address: "#/diagram?all=1" }, async (page) => {
    await page.waitForSelector(".diagram");
    assert.equal(await page.locator("a.box:has-text('Shelf')").count(), 1);
    await visit(page, "#/diagram?around=5");
    await page.waitForFunction(() => document.querySelectorAll("a.box").length === 2);
    assert.deepEqual((await page.locator("a.box .title").allTextContents()).sort(), ["Book", "Chapter"]);
  }));

test("back and forward lead through the views", () =>
  withPage({}, async (page) => {
    await visit(page, "#/tree");
    await visit(page, "#/element/0/1");
    await visit(page, "#/sizes");
    await page.goBack();
    await page.waitForSelector("#element-name");
    assert.equal(await words(page.locator("#element-name")), "Frankenstein; or, The Modern Prometheus");
    await page.goBack();
    await page.waitForSelector("text=Choose one");
    await page.goForward();
    await page.waitForSelector("#element-name");
    await page.goForward();
    await page.waitForSelector(".treemap");
  }));

for (const [address, expected] of [
  ["#/summary", "Summary"],
  ["#/diagram", "Class diagram"],
  ["#/class/3", "Book class"],
  ["#/sizes?sort=own", "Sizes"],
  ["#/element/0/9", "Elements"],
  ["#/search/rabbit", "Elements"],
  ["#/bytes/0/3", "Bytes"],
  ["#/differences", "Differences"],
  ["#/nowhere", "Not here"],
  ["#/class/999", "Not here"],
  ["#/element/7/1", "Elements"],
  ["#/element/0/99999", "Elements"],
  ["#/element/0/-1", "Elements"],
  ["#/bytes/0/99999", "Not here"],
  ["#/bytes/x", "Not here"],
  ["#/search/%", "Elements"],
  ["#/search/%E0%A4%A", "Elements"],
  ["#/tree?class=99999&document=9", "Elements"],
]) {
  test(`the page opens at ${address}`, () =>
    withPage({ address }, async (page) => {
      assert.equal(await words(page.locator("h1")), expected);
      assert.equal(hash(page), address);
    }));
}

test("a list stays beside the element that was chosen in it", () =>
  withPage({ address: "#/search/letter" }, async (page) => {
    await page.locator("[role=option]").nth(1).click();
    await page.waitForSelector("#element-name");
    assert.equal(await page.locator("[role=option]").count(), 3);
    assert.equal(await page.locator("[role=option][aria-selected=true]").count(), 1);
    assert.equal(await page.locator("#search").inputValue(), "letter");
  }));

test("both documents have their trees, sizes and bytes", () =>
  withPage({ file: two.file, address: "#/tree?document=1" }, async (page) => {
    assert.ok((await page.locator("[role=treeitem]", { hasText: "C. L. Dodgson" }).count()) === 1);
    await page.locator(".choice a").first().click();
    await page.waitForSelector("[role=treeitem]:has-text('Lewis Carroll')");
    await visit(page, "#/bytes/1/0");
    await page.waitForSelector(".notes .row:has-text('C. L. Dodgson')");
    await visit(page, "#/sizes?document=1");
    assert.match(await words(page.locator("main")), /11 elements/);
  }));
