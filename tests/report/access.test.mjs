// What readers of the screen, keyboards and small windows need, in every view.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { axe, browser, models, open, pageOfSample, visit } from "./pages.mjs";

const views = ["#/summary", "#/diagram", "#/class/1", "#/sizes", "#/tree", "#/element/0/1", "#/search/e", "#/bytes/0/0", "#/differences", "#/nowhere"];
const hostile = pageOfSample("hostile");
// Contrast does not depend on the model, and takes longest to compute: two pages are looked at for it, in light and dark.
const pages = [...models().models, hostile].map((each) => ({ ...each, contrast: ["sample small", "sample two"].includes(each.name) }));
let tabs;
before(async () => (tabs = await browser()));
after(() => tabs.close());

async function violations(page, contrast) {
  await page.evaluate(axe);
  return page.evaluate(async (enabled) => {
    const { violations } = await globalThis.axe.run(document, { resultTypes: ["violations"], rules: { "color-contrast": { enabled }, "link-in-text-block": { enabled } } });
    return violations.map((each) => `${each.id}: ${each.nodes[0].html.slice(0, 200)} ${each.nodes[0].failureSummary}`);
  }, contrast);
}

for (const { name, file, contrast } of pages) {
  for (const colorScheme of contrast ? ["light", "dark"] : ["light"]) {
    test(`${name}, ${colorScheme}: no view has what axe finds wrong`, async () => {
      const page = await open(tabs, file, { colorScheme });
      for (const view of views) {
        await visit(page, view);
        assert.deepEqual(await violations(page, contrast), [], view);
      }
      await page.context().close();
    });
  }

  test(`${name}: 400 pixels are wide enough`, async () => {
    const page = await open(tabs, file, { viewport: { width: 400, height: 800 } });
    for (const view of views) {
      await visit(page, view);
      const { scrolled, wide } = await page.evaluate(() => ({ scrolled: document.documentElement.scrollWidth, wide: innerWidth }));
      assert.ok(scrolled <= wide, `${view} is ${scrolled} wide`);
    }
    await visit(page, "#/element/0/0");
    assert.ok((await page.locator(".details").boundingBox()).y > (await page.locator(".virtual").boundingBox()).y, "details stand below the tree");
    await page.context().close();
  });
}

test("who wants less motion gets none", async () => {
  const page = await open(tabs, pages[0].file, { reducedMotion: "reduce" });
  assert.equal(await page.locator("header nav a").first().evaluate((link) => getComputedStyle(link).transitionDuration), "0s");
  await page.context().close();
});
