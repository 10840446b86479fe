// Each view of each model shows what the data says.
import assert from "node:assert/strict";
import { after, before, describe, test } from "node:test";
import { Reader, browser, models, open, visit, words } from "./pages.mjs";

const { models: all, skipped } = models();
let tabs;
before(async () => (tabs = await browser()));
after(() => tabs.close());
for (const each of skipped) test(each, { skip: true });

const count = (number) => number.toLocaleString("en-US");

function usedClasses(report) {
  const used = new Set(report.classes.flatMap((each, i) => (each.used ? [i] : [])));
  for (const each of used) for (const supertype of report.classes[each].supertypes) used.add(supertype);
  return used;
}

for (const { name, file, report } of all) {
  describe(name, () => {
    let page;
    before(async () => (page = await open(tabs, file)));
    after(async () => {
      assert.deepEqual(page.wrong, []);
      await page.context().close();
    });

    test("summary", async () => {
      await visit(page, "#/summary");
      const text = await words(page.locator("main"));
      for (const document of report.documents) {
        assert.ok(text.includes(document.name), document.name);
        assert.ok(text.includes(count(document.bytes)), "its bytes");
        assert.ok(text.replaceAll(",", "").includes(`elements ${document.elements.class.length}`), "its elements");
        for (const size of document.sizes) assert.ok(text.includes(count(size.bytes)), size.format);
        if (document.problemCount === 0) assert.ok(text.includes("kr0 check finds none."));
        for (const problem of document.problems.slice(0, 3)) assert.ok(text.includes(problem.text), problem.text);
      }
      for (const each of report.packages) assert.ok(text.includes(each.uri) && text.includes(each.fingerprint), each.uri);
      assert.ok(text.includes(report.producer));
      assert.ok((await page.title()).includes(report.documents[0].name));
    });

    test("problems lead to their elements", async () => {
      const document = report.documents[0];
      const problem = document.problems.find((each) => each.element >= 0);
      if (!problem) return;
      await visit(page, "#/summary");
      await page.locator("[aria-label^='Problems of'] a").first().click();
      assert.equal(new URL(page.url()).hash, `#/element/0/${problem.element}`);
      await page.waitForSelector("[role=treeitem][aria-selected=true]");
    });

    test("class diagram", async () => {
      await visit(page, "#/diagram");
      const used = usedClasses(report);
      const titles = await page.locator(".diagram a.box .title").allTextContents();
      assert.deepEqual(titles.sort(), [...used].map((each) => report.classes[each].name).sort());
      const inheritances = [...used].flatMap((each) => report.classes[each].supertypes.filter((supertype) => used.has(supertype)));
      assert.equal(await page.locator(".diagram .line.inheritance").count(), inheritances.length);
      assert.equal(await page.locator(".diagram .line.inheritance .triangle").count(), inheritances.length);
      const lines = report.properties.filter((each, i) => {
        if (each.kind === "attribute" || !used.has(each.class) || !used.has(each.target)) return false;
        const opposite = report.properties[each.opposite];
        return !opposite || opposite === each || (each.kind === "containment" ? true : opposite.kind !== "containment" && i < each.opposite);
      });
      assert.equal(await page.locator(".diagram .line:not(.inheritance)").count(), lines.length);
      const wholes = lines.filter((each) => each.kind === "containment");
      assert.equal(await page.locator(".diagram .line.composition .diamond").count(), wholes.length);
      const abstract = [...used].filter((each) => report.classes[each].abstract);
      assert.equal(await page.locator(".diagram .abstract").count(), abstract.length);
    });

    test("a class", async () => {
      const usage = report.documents[0].usage[0];
      const type = report.classes[usage.class];
      await visit(page, `#/class/${usage.class}`);
      const text = await words(page.locator("main"));
      assert.ok(text.includes(type.name) && text.includes(count(usage.bytes >= 1000 ? usage.instances : usage.bytes)));
      for (const each of type.properties) assert.ok(text.includes(report.properties[each].name), report.properties[each].name);
      await page.locator("main a", { hasText: /^[\d,]+ element/ }).first().click();
      assert.match(await words(page.locator(".found-count")), /^[\d,]+ elements? of/);
    });

    test("sizes", async () => {
      await visit(page, "#/sizes");
      const used = report.documents[0].usage.filter((each) => each.instances > 0 || each.bytes > 0);
      const cells = await page.locator("main tbody tr").evaluateAll((rows) => rows.map((row) => [...row.children].map((cell) => cell.textContent)));
      assert.equal(cells.length, used.length + 1);
      for (const each of used) {
        const row = cells.find(([name, instances, bytes]) => name === report.classes[each.class].name && instances === count(each.instances) && bytes === count(each.bytes));
        assert.ok(row, report.classes[each.class].name);
      }
      const bytes = cells.slice(0, -1).map((row) => Number(row[2].replaceAll(",", "")));
      assert.deepEqual(bytes, [...bytes].sort((a, b) => b - a));
      assert.equal(await page.locator(".treemap a").count(), used.filter((each) => each.bytes > 0).length);
      await page.locator("[data-sort=name]").click();
      await page.waitForSelector("th[aria-sort=ascending] [data-sort=name]");
      const names = await page.locator("main tbody tr:not(.quiet) th").allTextContents();
      assert.deepEqual(names, used.map((each) => report.classes[each.class].name).sort((a, b) => a.localeCompare(b)));
    });

    test("tree", async () => {
      await visit(page, "#/tree");
      const reader = new Reader(report);
      const roots = reader.childrenOf(-1);
      const rows = await page.locator("[role=treeitem]").allTextContents();
      assert.ok(rows[0].includes(reader.className(roots[0])), rows[0]);
      assert.equal(await page.locator("[role=treeitem][aria-level='1']").first().getAttribute("aria-setsize"), String(roots.length));
    });

    for (const [which, share] of [["the first element", 0], ["an element in the middle", 0.5], ["the last element", 1]]) {
      test(which, async () => {
        const reader = new Reader(report);
        const index = Math.floor((reader.data.elements.class.length - 1) * share);
        await visit(page, `#/element/0/${index}`);
        const text = await words(page.locator(".details"));
        assert.ok(text.includes(reader.className(index)));
        for (const { property, value } of reader.valuesOf(index)) {
          assert.ok(text.includes(property.name), property.name);
          for (const item of property.kind === "attribute" ? value.slice(0, 20) : []) {
            assert.ok(text.includes(reader.data.texts[item].replace(/\s+/g, " ").trim().slice(0, 60).replace(/[\u0000-\u001f].*/s, "")), reader.data.texts[item]);
          }
        }
        const children = reader.childrenOf(index);
        if (children.length > 0) assert.ok(text.includes(`Contains ${count(children.length)} element`));
        const selected = page.locator("[role=treeitem][aria-selected=true]");
        assert.ok((await selected.textContent()).includes(reader.className(index)));
      });
    }

    test("references lead there and back", async () => {
      const reader = new Reader(report);
      const from = reader.data.elements.class.findIndex((_, i) => reader.valuesOf(i).some(({ property, value }) => property.kind === "reference" && value[0] >= 0));
      if (from < 0) return;
      const { property, value } = reader.valuesOf(from).find(({ property, value }) => property.kind === "reference" && value[0] >= 0);
      await visit(page, `#/element/0/${from}`);
      await page.locator(`.values tr:has(th bdi:text-is("${property.name}")) td a`).first().click();
      assert.equal(new URL(page.url()).hash, `#/element/0/${value[0]}`);
      const back = page.locator("section", { has: page.locator("h3", { hasText: "Referred to by" }) });
      await back.locator(`a[href="#/element/0/${from}"]`).first().waitFor();
    });

    test("bytes beside their meaning", async () => {
      const reader = new Reader(report);
      const { shown } = reader.data;
      assert.ok(shown, "the bytes are in the page");
      const index = reader.data.elements.class.length - 1;
      await visit(page, `#/bytes/0/${index}`);
      const begin = [...shown.kinds].reduce((found, kind, i) => (kind === "b" ? [...found.slice(-index - 1), i] : found), []).at(-1);
      const offset = shown.bytes.slice(0, begin).reduce((sum, each) => sum + each, 0);
      const note = page.locator(".notes .note.b").first();
      assert.ok((await note.textContent()).startsWith(offset.toString(16).padStart(6, "0")));
      assert.ok((await note.textContent()).includes(reader.className(index)));
      for (const { property, value } of reader.valuesOf(index)) {
        if (property.kind !== "attribute" || property.upper !== 1) continue;
        const expected = `${property.name} = ${reader.data.texts[value[0]]}`.slice(0, 40).replace(/[\u0000-\u001f].*/s, "");
        const notes = await page.locator(".notes .note").allTextContents();
        assert.ok(notes.some((each) => each.includes(expected)), expected);
      }
    });

    test("hovering over bytes marks their meaning, and the other way round", async () => {
      await visit(page, "#/bytes/0/0");
      const piece = page.locator(".hex .piece").nth(2);
      await piece.hover();
      const note = await piece.getAttribute("data-note");
      await page.waitForSelector(`.notes .current[data-note="${note}"]`);
      await page.locator(".notes .row").nth(5).hover();
      const other = await page.locator(".notes .row").nth(5).getAttribute("data-note");
      await page.waitForSelector(`.hex .current[data-note="${other}"]`);
      assert.equal(await page.locator(`.hex .current:not([data-note="${other}"])`).count(), 0);
    });

    test("search", async () => {
      const reader = new Reader(report);
      const last = reader.data.elements.class.length - 1;
      const index = [...Array(last + 1).keys()].reverse().find((i) => reader.valuesOf(i).some(({ property, value }) => property.kind === "attribute" && /^\w{3,}$/.test(reader.data.texts[value[0]] ?? "")));
      if (index === undefined) return;
      const text = reader.valuesOf(index).flatMap(({ property, value }) => (property.kind === "attribute" ? value.map((each) => reader.data.texts[each]) : [])).find((each) => /^\w{3,}$/.test(each));
      await page.locator("#search").fill(text.toUpperCase());
      await page.locator("#search").press("Enter");
      await page.waitForSelector(".found-count");
      const wanted = text.toLowerCase();
      const matches = reader.data.elements.class.filter((_, i) => {
        const { identity } = reader.data.elements;
        if (reader.className(i).toLowerCase().includes(wanted) || (identity[i] >= 0 && reader.data.texts[identity[i]].toLowerCase().includes(wanted))) return true;
        return reader.valuesOf(i).some(({ property, value }) => value.some((each) => (property.kind === "attribute" ? reader.data.texts[each] : each < 0 ? reader.data.texts[-1 - each] : "").toLowerCase().includes(wanted)));
      }).length;
      assert.ok((await words(page.locator(".found-count"))).startsWith(`${count(matches)} element`));
    });

    if (report.differences) {
      test("differences", async () => {
        await visit(page, "#/differences");
        const { counts, total, edits } = report.differences;
        const rows = page.locator("[aria-label=Differences] [role=listitem]");
        assert.equal(await rows.first().getAttribute("aria-setsize"), String(edits.length));
        assert.ok((await words(page.locator("main p[role=status]"))).startsWith(`${count(total)} difference`));
        const kind = edits[0].kind;
        await page.locator(`.choice a[href$="kind=${kind}"]`).click();
        await page.waitForSelector(`.choice a[aria-current][href$="kind=${kind}"]`);
        assert.equal(await rows.first().getAttribute("aria-setsize"), String(counts[kind]));
        assert.ok((await words(rows.first())).startsWith(kind));
        const linked = edits.find((each) => each.kind === kind && each.before >= 0);
        if (linked) {
          await rows.first().locator("a").first().click();
          assert.equal(new URL(page.url()).hash, `#/element/0/${linked.before}`);
          await page.waitForSelector(`[role=treeitem][aria-selected=true] .badge.${kind}`);
        }
        const added = edits.find((each) => each.kind === "added");
        if (added) {
          await visit(page, `#/element/1/${added.after}`);
          await page.waitForSelector("[role=treeitem][aria-selected=true] .badge.added");
        }
      });
    }
  });
}
