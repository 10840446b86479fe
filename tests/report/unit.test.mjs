// Functions of the page that need no browser, and what its sources and template must be like.
import assert from "node:assert/strict";
import { createHash } from "node:crypto";
import { readFileSync, readdirSync } from "node:fs";
import { join } from "node:path";
import { describe, test } from "node:test";
import { root, source, template } from "./pages.mjs";
import * as sample from "./sample.mjs";

const { cut, piecesOf, visible } = await source("visible.ts");
const { bytesText, counted, multiplicityText, shareText } = await source("numbers.ts");
const { address, indexIn, parseRoute } = await source("route.ts");
const { Store } = await source("store.ts");
const { chosenClasses, diagramOf, neighbours } = await source("uml.ts");

const storeOf = (name) => new Store(structuredClone(sample[name]().report));
const used = { all: false, package: -1, around: -1 };

describe("texts", () => {
  test("what has no picture gets one", () => {
    assert.equal(visible("a\u0000b\u001f\u007f\u0085\n\t"), "a<U+0000>b<U+001F><U+007F><U+0085>\u21b5\u21e5");
    assert.equal(visible("\u202e\u2066\u200e\u061c"), "<U+202E><U+2066><U+200E><U+061C>");
    assert.equal(visible("\ud800x\udc00"), "<U+D800>x<U+DC00>");
    assert.equal(visible("\u{e0041}"), "<U+E0041>");
  });

  test("other texts stay as they are, pairs of surrogates and joiners too", () => {
    for (const text of ["", "plain", "\ud83d\ude00", "\u0645\u06cc\u200c\u062e\u0648\u0627\u0647\u0645", "<b>&amp;"]) assert.equal(visible(text), text);
  });

  test("pieces say what they stand for", () => {
    assert.deepEqual(piecesOf("a\u202eb"), [{ text: "a", means: null }, { text: "<U+202E>", means: "U+202E" }, { text: "b", means: null }]);
    assert.deepEqual(piecesOf(""), []);
  });

  test("a cut leaves pairs whole", () => {
    assert.equal(cut("ab\ud83d\ude00", 3), "ab");
    assert.equal(cut("ab\ud83d\ude00", 4), "ab\ud83d\ude00");
    assert.equal(cut("abc", 2), "ab");
  });
});

test("numbers", () => {
  assert.deepEqual([0, 999, 1000, 9994, 9995, 99_949, 999_499, 999_500, 1e12].map(bytesText), ["0 B", "999 B", "1.00 kB", "9.99 kB", "10.0 kB", "99.9 kB", "999 kB", "1.00 MB", "1.00 TB"]);
  assert.deepEqual([[0, -1], [1, -1], [2, -1], [0, 1], [1, 1], [2, 5]].map(([lower, upper]) => multiplicityText(lower, upper)), ["*", "1..*", "2..*", "0..1", "1", "2..5"]);
  assert.deepEqual([counted(1, "class", "classes"), counted(2000, "class", "classes")], ["1 class", "2,000 classes"]);
  assert.deepEqual([shareText(1, 3), shareText(1, 0)], ["33.3 %", ""]);
});

describe("addresses", () => {
  test("any text survives the way into an address and back", () => {
    for (const text of sample.hostileTexts) {
      const there = text.toWellFormed();
      assert.deepEqual(parseRoute(address("search", [text])).parts, [there]);
      assert.equal(parseRoute(address("element", [0, 1], { search: text })).options.get("search") ?? "", there);
    }
  });

  test("damaged ones lead somewhere", () => {
    assert.equal(parseRoute("").view, "summary");
    assert.equal(parseRoute("#/").view, "summary");
    assert.deepEqual(parseRoute("#/search/%zz").parts, ["%zz"]);
  });

  test("only numbers below the count are indices", () => {
    assert.deepEqual(["0", "9", "10", "-1", "1e3", "", "0x1", "9999999999", undefined].map((part) => indexIn(part, 10)), [0, 9, -1, -1, -1, -1, -1, -1, -1]);
  });
});

describe("the diagram", () => {
  const store = storeOf("small");
  const { schema } = store;
  const { boxes, lines } = diagramOf(schema, chosenClasses(schema, used));
  const line = (role) => lines.filter((each) => each.toEnd?.role === role || each.fromEnd?.role === role);

  test("used classes and what they inherit from are shown", () => {
    assert.deepEqual(boxes.map((each) => each.title), ["Named", "Library", "Author", "Book", "AudioBook", "Chapter", "Address", "Genre"]);
    assert.equal(chosenClasses(schema, { ...used, all: true }).size, 8);
  });

  test("two opposites are one line without arrows", () => {
    const [one, ...others] = lines.filter((each) => each.fromEnd);
    assert.deepEqual(others, []);
    assert.deepEqual([one.fromEnd.role, one.toEnd.role].sort(), ["authors", "books"]);
    assert.ok(!one.fromEnd.arrow && !one.toEnd.arrow);
  });

  test("a composition begins at the whole", () => {
    const [chapters] = line("chapters");
    assert.deepEqual([chapters.kind, chapters.from, chapters.to, chapters.toEnd.multiplicity], ["composition", "c3", "c5", "*"]);
  });

  test("attributes are text, enumerations have boxes", () => {
    const book = boxes.find((each) => each.title === "Book");
    assert.deepEqual(book.lines, ["title: String", "isbn: String [0..1]", "genre: Genre [0..1]", "keywords: String [*]"]);
    const genre = boxes.find((each) => each.title === "Genre");
    assert.deepEqual([genre.stereotype, genre.lines], ["\u00abenumeration\u00bb", ["novel", "poetry", "science"]]);
  });

  test("a reference to a class that is not shown is text", () => {
    const alone = diagramOf(schema, new Set([5, 2]));
    assert.equal(alone.lines.length, 0);
    assert.ok(alone.boxes.find((each) => each.title === "Author").lines.includes("books: Book [*]"));
  });

  test("neighbours", () => assert.deepEqual(neighbours(schema, 3).sort(), [1, 2, 4, 5]));
});

describe("documents", () => {
  const [document] = storeOf("small").documents;

  test("paths are those of the command line", () => {
    assert.deepEqual([0, 1, 2, 10].map((each) => document.path(each)), ["/library", "/library/books[0]", "/library/books[0]/chapters[0]", "/library/address"]);
    assert.equal(storeOf("hostile").documents[0].path(0).endsWith("[0]"), true, "of several roots each has its position");
  });

  test("children, siblings and depth", () => {
    assert.deepEqual(document.children(0), [1, 5, 6, 7, 8, 9, 10]);
    assert.deepEqual(document.siblings(6), { position: 2, count: 7 });
    assert.deepEqual([...document.depth.slice(0, 3)], [0, 1, 2]);
    assert.equal(storeOf("hostile").documents[0].depth[3000], 3000);
  });

  test("references are known from their targets", () => {
    const byName = (element) => document.referrers(element).map((each) => [each.element, each.property]);
    assert.deepEqual(byName(8).map(([element]) => element), [1, 7]);
    assert.deepEqual(byName(6).map(([element]) => element), [5, 9]);
    assert.deepEqual(byName(0), []);
  });

  test("search looks at texts, identities, class names and what leads elsewhere, whatever the case", () => {
    assert.deepEqual([...document.search("LETTER 2")], [3]);
    assert.deepEqual([...document.search("b1")], [1]);
    assert.deepEqual([...document.search("audiobook")], [7]);
    assert.deepEqual([...document.search("another document")], [7]);
    assert.deepEqual([...document.search("")], []);
  });

  test("elements of a class, with and without subtypes", () => {
    assert.deepEqual([...document.instances(3, false)], [1, 5, 6]);
    assert.deepEqual([...document.instances(3, true)], [1, 5, 6, 7]);
  });

  test("notes are explained by element and position", () => {
    const notes = document.notes();
    assert.deepEqual([notes.kind(0), notes.words(0), notes.begins[0], notes.offset[1]], ["h", "version 1", 1, 4]);
    const explained = notes.explain(notes.begins[1], notes.endOf(1), 1);
    const keywords = [...explained.ordinal.keys()].filter((i) => notes.kind(notes.begins[1] + i) === "v" && document.data.shown && notes.property[notes.begins[1] + i] === notes.property[notes.begins[1] + 5]);
    assert.deepEqual(keywords.map((i) => explained.ordinal[i]), [0, 1]);
    assert.deepEqual([...new Set(explained.owner)], [1, 2, 3, 4]);
    assert.equal(explained.depth[explained.depth.length - 1], 0);
    assert.equal(notes.noteAt(notes.offset[7]), 7);
    assert.equal(notes.endOf(0), notes.count);
  });

  test("elements of both documents are marked", () => {
    const store = storeOf("two");
    const removed = store.differences.edits.find((each) => each.kind === "removed");
    assert.equal(store.marks[0].get(removed.before), "removed");
    assert.equal(store.marks[1].size, 2);
  });
});

describe("the template", () => {
  const policy = /http-equiv="Content-Security-Policy" content="([^"]*)"/.exec(template)[1];
  const hash = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;

  test("its policy allows its own script and style alone", () => {
    assert.equal(policy, `default-src 'none'; script-src ${hash(/<script>([^]*)<\/script>/.exec(template)[1])}; style-src ${hash(/<style>([^]*)<\/style>/.exec(template)[1])}; base-uri 'none'; form-action 'none'`);
  });

  test("it is small enough, and has each slot once", () => {
    assert.ok(Buffer.byteLength(template) <= 3_000_000);
    for (const slot of ["title", "tables", "data"]) assert.equal(template.split(`<!--kr0:${slot}-->`).length, 2, slot);
    assert.equal(template.match(/<script/g).length, 1);
  });

  test("no source makes markup or code from text", () => {
    const folder = join(root, "web/report/src");
    const sources = readdirSync(folder, { recursive: true }).filter((each) => each.endsWith(".ts"));
    assert.ok(sources.length > 15);
    for (const each of sources) assert.doesNotMatch(readFileSync(join(folder, each), "utf8"), /innerHTML|outerHTML|insertAdjacentHTML|document\.write|DOMParser|createContextualFragment|\beval\(|new Function/, each);
  });

  test("the lock file names no registry but the public one", () => {
    const lock = JSON.parse(readFileSync(join(root, "web/report/package-lock.json"), "utf8"));
    const hosts = Object.values(lock.packages).flatMap((each) => (each.resolved ? [new URL(each.resolved).host] : []));
    assert.deepEqual(hosts.filter((each) => each !== "registry.npmjs.org"), []);
    assert.ok(Object.values(lock.packages).slice(1).every((each) => /^\d/.test(each.version)));
  });
});
