// Texts of documents stay texts: they become no elements, run nothing, ask for nothing, and hide nothing.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { browser, models, open, pageOfSample, visit } from "./pages.mjs";
import { hostileTexts } from "./sample.mjs";

const { file, report } = pageOfSample("hostile");
let tabs;
before(async () => (tabs = await browser()));
after(() => tabs.close());

// The kinds of elements that the page itself makes.
const own = new Set("a article bdi body b button caption code dd div dl dt em form g h1 h2 h3 head header html i input label li link main meta nav ol option p path q rect script section select small span style svg table tbody td text th thead title tr ul".split(" "));

async function strangers(page) {
  const found = await page.evaluate(() => [...document.querySelectorAll("*")].map((each) => [each.localName, each.id, [...each.attributes].map((attribute) => attribute.name)]));
  return found.filter(([name, id, attributes]) => !own.has(name) || id === "broken" || attributes.some((each) => each.startsWith("on") || each === "src" || each === "srcdoc"));
}

const addresses = ["#/summary", "#/diagram", "#/diagram?all=1&package=1", "#/sizes", "#/tree", "#/tree?document=1", "#/differences", "#/differences?kind=changed"];
report.classes.forEach((_, i) => addresses.push(`#/class/${i}`, `#/element/0/${i}`));
addresses.push("#/bytes/0/0", "#/bytes/1/3", "#/element/0/3000", "#/bytes/0/3000");
for (const text of hostileTexts.filter((each) => each !== "" && each.length < 100)) addresses.push(`#/search/${encodeURIComponent(text.toWellFormed())}`);

// Controls, marks of direction and halves of pairs that stand in what can be seen or is read aloud.
async function unseen(page) {
  const seen = await page.evaluate(() => [document.title, ...[...document.querySelectorAll("main, header")].map((each) => each.textContent), ...[...document.querySelectorAll("[title], [aria-label]")].flatMap((each) => [each.title, each.ariaLabel ?? ""])]);
  const raw = /[\u0000-\u0008\u000b-\u001f\u007f-\u009f\u061c\u200e\u200f\u202a-\u202e\u2066-\u2069\ud800-\udfff]/;
  return seen.filter((each) => typeof each === "string" && raw.test(each.replace(/[\ud800-\udbff][\udc00-\udfff]/g, "")));
}

test("no text becomes markup or script, or hides what it holds, in any view", async () => {
  const page = await open(tabs, file);
  for (const address of addresses) {
    await visit(page, address);
    assert.deepEqual(await strangers(page), [], address);
    assert.deepEqual(await unseen(page), [], address);
  }
  for (const button of await page.locator(".more").all()) await button.click();
  assert.equal(await page.evaluate(() => globalThis.broken), undefined);
  const links = await page.locator("a").evaluateAll((all) => all.map((each) => each.getAttribute("href")));
  assert.ok(links.every((each) => each.startsWith("#")), "links lead into the page only");
  assert.deepEqual(page.wrong, []);
  await page.context().close();
});

test("a script that got in would be refused", async () => {
  const page = await open(tabs, file);
  await page.evaluate(() => {
    const script = document.createElement("script");
    script.textContent = "globalThis.broken = 1";
    document.body.append(script);
    document.body.append(Object.assign(document.createElement("img"), { src: "https://example.org/x.png" }));
    const styled = document.createElement("p");
    styled.setAttribute("style", "color: red");
    document.body.append(styled);
  });
  await page.waitForTimeout(100);
  assert.equal(await page.evaluate(() => globalThis.broken), undefined);
  assert.equal(page.wrong.filter((each) => /Content Security Policy/.test(each)).length, 3, page.wrong.join("\n"));
  assert.deepEqual(page.answered, []);
  await page.context().close();
});

test("controls and marks of direction are seen as what they are", async () => {
  const page = await open(tabs, file);
  await visit(page, "#/element/0/0");
  const text = await page.locator(".details").innerText();
  for (const each of ["<U+202E>gnp.exe<U+202C>", "<U+2066>isolated<U+2069> <U+200E>marks<U+200F><U+061C>", "nul <U+0000> bell <U+0007> escape <U+001B>[31m line\u21b5\nfeed tab\u21e5 delete <U+007F> next <U+0085>", "half <U+D83D> of a pair, <U+DE00> the other, \ud83d\ude00 both", "zero<U+200B>width <U+FEFF> <U+2028> <U+2029>"]) {
    assert.ok(text.includes(each), each);
  }
  await page.context().close();
});

test("a long text is cut, and shown on demand", async () => {
  const page = await open(tabs, file);
  await visit(page, "#/element/0/0");
  const long = page.locator("bdi", { hasText: "long words without end" }).first();
  assert.ok((await long.textContent()).length < 400);
  await long.locator("button").click();
  assert.equal((await long.textContent()).length, hostileTexts.find((each) => each.startsWith("long")).length);
  await page.context().close();
});

test("data that cannot be read is told", async () => {
  const page = await open(tabs, file, { javaScriptEnabled: false });
  await page.context().close();
  const { readFileSync, writeFileSync } = await import("node:fs");
  const { gzipSync } = await import("node:zlib");
  const text = readFileSync(file, "utf8");
  for (const [data, expected] of [
    [Buffer.from("no gzip").toString("base64"), /cannot be read/],
    [gzipSync("{").toString("base64"), /cannot be read/],
    [gzipSync('{"report":2}').toString("base64"), /layout 2, and this page knows layout 1/],
    ["***", /cannot be read/],
  ]) {
    const damaged = `${file}.damaged.html`;
    writeFileSync(damaged, text.replace(/(id="kr0-data">)[^<]*/, (_, start) => start + data));
    const tab = await (await tabs.newContext()).newPage();
    await tab.goto(`file://${damaged}`);
    const status = tab.locator("p.wrong");
    await status.waitFor();
    assert.match(await status.innerText(), expected);
    assert.equal(await tab.locator("#static table").count(), 1, "the tables stay");
    await tab.context().close();
  }
});

for (const { name, file: each, report: data } of [...models().models, { name: "hostile", file, report }]) {
  test(`${name}: without JavaScript its tables are there`, async () => {
    const page = await open(tabs, each, { javaScriptEnabled: false });
    const text = await page.locator("#static").innerText();
    for (const usage of data.documents[0].usage.slice(0, 5)) assert.ok(text.includes(data.classes[usage.class].name.replace(/\s.*/s, "")), data.classes[usage.class].name);
    assert.ok(await page.locator("#static table").first().isVisible());
    assert.deepEqual(await strangers(page), []);
    assert.deepEqual(page.wrong, []);
    await page.context().close();
  });
}
