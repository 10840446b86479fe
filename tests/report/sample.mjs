// Reports as the tool would write them, of models that exist here alone: a small one, one with names and texts
// that try to become markup, two that differ, one of a great many classes, and one of 100,000 elements.
import { gzipSync } from "node:zlib";

// Meta models are described by lines like "Book < Named: title String 1, chapters Chapter * contained".
class Schema {
  classes = [];
  properties = [];
  enumerations = [];
  packages;

  constructor(packages) {
    this.packages = packages.map(([name, uri]) => ({ name, uri, fingerprint: "a1b2c3d4e5f60718" }));
  }

  enumeration(name, literals) {
    this.enumerations.push({ name, package: 0, literals: literals.map((literal, value) => ({ name: literal, value })) });
  }

  type(name, { supertypes = [], abstract = false, used = true, kind = "class", inPackage = 0 } = {}) {
    this.classes.push({ name, package: inPackage, abstract, supertypes: supertypes.map((each) => this.typeIndex(each)), used, kind, properties: [] });
    return this;
  }

  typeIndex(name) {
    return this.classes.findIndex((each) => each.name === name);
  }

  property(type, name, kind, of, { lower = 0, upper = 1, isId = false, opposite = -1 } = {}) {
    const owner = this.typeIndex(type);
    const index = this.properties.length;
    const target = this.typeIndex(of);
    const enumeration = this.enumerations.findIndex((each) => each.name === of);
    this.classes[owner].properties.push(index);
    this.properties.push({ name, class: owner, kind, type: target < 0 ? of : "", target, enumeration, lower, upper, ordered: true, unique: true, opposite, isId });
    if (opposite >= 0) this.properties[opposite].opposite = index;
    return index;
  }

  allOf(type) {
    return [...this.classes[type].supertypes.flatMap((each) => this.allOf(each)), ...this.classes[type].properties];
  }

  propertyOf(type, name) {
    return this.allOf(type).find((each) => this.properties[each].name === name);
  }
}

// An element of a model before it is written: its class, and values by the name of their property.
export function element(type, values = {}, identity = null) {
  return { type, values, identity };
}

class Writer {
  #texts = new Map();
  #bytes = [];
  kinds = "";
  lengths = [];
  noteProperties = [];
  words = {};

  constructor(schema) {
    this.schema = schema;
  }

  text(text) {
    if (!this.#texts.has(text)) this.#texts.set(text, this.#texts.size);
    return this.#texts.get(text);
  }

  get texts() {
    return [...this.#texts.keys()];
  }

  get bytes() {
    return Uint8Array.from(this.#bytes);
  }

  note(kind, property, content, words) {
    if (words) this.words[this.kinds.length] = words;
    this.kinds += kind;
    this.lengths.push(content.length);
    this.noteProperties.push(property);
    for (const byte of content) this.#bytes.push(byte);
    return content.length;
  }
}

const encoder = new TextEncoder();
const bytesOf = (text) => [Math.min(text.length, 255), ...encoder.encode(text)];

// Puts elements into columns, parents before children; `roots` may nest as deep as they like.
function writeDocument(schema, roots, { name, format = "krb", facts = [], problems = [] }) {
  const writer = new Writer(schema);
  const order = [];
  const number = new Map();
  const stack = roots.map((root, at) => ({ node: root, parent: -1, via: -1, at })).reverse();
  while (stack.length > 0) {
    const next = stack.pop();
    const type = schema.typeIndex(next.node.type);
    number.set(next.node, order.length);
    const placed = { ...next, index: order.length, type };
    order.push(placed);
    const children = [];
    for (const property of schema.allOf(type)) {
      const { kind, name: key, upper } = schema.properties[property];
      if (kind !== "containment" || !Object.hasOwn(next.node.values, key)) continue;
      const held = next.node.values[key];
      (upper === 1 ? [held] : held).forEach((child, at) => children.push({ node: child, parent: placed.index, via: property, at: upper === 1 ? -1 : at }));
    }
    stack.push(...children.reverse());
  }
  const elements = { class: [], parent: [], via: [], at: [], values: [], identity: [] };
  const values = { property: [], value: [] };
  const usage = new Map();
  const overhead = writer.note("h", -1, [1, 2, 0x6b, 0x72], "version 1");
  const open = [];
  const close = (parent) => {
    while (open.length > 0 && open[open.length - 1] !== parent) {
      const ended = open.pop();
      usage.get(order[ended].type).own += writer.note("e", -1, [0xff, 0x7f]);
    }
  };
  for (const { node, parent, via, at, index, type } of order) {
    close(parent);
    open.push(index);
    if (!usage.has(type)) usage.set(type, { class: type, instances: 0, bytes: 0, own: 0, properties: new Map() });
    const used = usage.get(type);
    ++used.instances;
    used.own += writer.note("b", via, bytesOf(schema.classes[type].name));
    elements.class.push(type);
    elements.parent.push(parent);
    elements.via.push(via);
    elements.at.push(at);
    elements.identity.push(node.identity === null ? -1 : writer.text(node.identity));
    let count = 0;
    for (const property of schema.allOf(type)) {
      const { kind, name: key, upper } = schema.properties[property];
      if (kind === "containment" || !Object.hasOwn(node.values, key)) continue;
      ++count;
      const entry = used.properties.get(property) ?? { property, set: 0, values: 0, bytes: 0 };
      used.properties.set(property, entry);
      const item = (value) => {
        ++entry.values;
        const target = typeof value === "object" ? number.get(value) : undefined;
        if (kind === "attribute") entry.bytes += writer.note("v", property, bytesOf(String(value)));
        else entry.bytes += writer.note("r", property, [0, (target ?? 0) & 255, ((target ?? 0) >> 8) & 255]);
        return target !== undefined ? target : kind === "attribute" ? writer.text(String(value)) : -1 - writer.text(String(value));
      };
      ++entry.set;
      if (upper !== 1) entry.bytes += writer.note("l", property, [node.values[key].length & 255]);
      values.property.push(property);
      values.value.push(upper === 1 ? item(node.values[key]) : node.values[key].map(item));
    }
    elements.values.push(count);
  }
  close(-1);
  const bytes = writer.bytes;
  const usageList = [...usage.values()].map((each) => {
    const properties = [...each.properties.values()];
    return { ...each, properties, bytes: each.own + properties.reduce((sum, one) => sum + one.bytes, 0) };
  });
  return {
    bytes,
    data: {
      name,
      format,
      bytes: bytes.length,
      facts,
      sizes: [
        { format: "xmi", bytes: bytes.length * 4 },
        { format: "krb", bytes: bytes.length },
        { format: "krt", bytes: Math.round(bytes.length * 1.9) },
        { format: "krz", bytes: Math.round(bytes.length / 2) },
      ],
      problems,
      problemCount: problems.length,
      usage: usageList,
      overhead,
      texts: writer.texts,
      elements,
      values,
      shown: { format: "krb", own: format === "krb", kinds: writer.kinds, bytes: writer.lengths, property: writer.noteProperties, texts: writer.words },
    },
  };
}

function report(schema, documents, differences = null) {
  return {
    report: {
      report: 1,
      producer: "kr0 0.1.0",
      classes: schema.classes,
      enumerations: schema.enumerations,
      properties: schema.properties,
      packages: schema.packages,
      documents: documents.map((each) => each.data),
      differences,
    },
    bytes: documents.map((each) => each.bytes),
  };
}

function librarySchema() {
  const schema = new Schema([["library", "http://www.example.org/library"]]);
  schema.enumeration("Genre", ["novel", "poetry", "science"]);
  schema.type("Named", { abstract: true }).type("Library", { supertypes: ["Named"] }).type("Author", { supertypes: ["Named"] });
  schema.type("Book").type("AudioBook", { supertypes: ["Book"] }).type("Chapter").type("Shelf", { used: false }).type("Address", { kind: "datatype" });
  schema.property("Named", "name", "attribute", "String", { lower: 1 });
  schema.property("Library", "books", "containment", "Book", { upper: -1 });
  schema.property("Library", "authors", "containment", "Author", { upper: -1 });
  schema.property("Library", "address", "containment", "Address");
  schema.property("Address", "street", "attribute", "String");
  const books = schema.property("Author", "books", "reference", "Book", { upper: -1 });
  schema.property("Book", "title", "attribute", "String", { lower: 1 });
  schema.property("Book", "isbn", "attribute", "String", { isId: true });
  schema.property("Book", "genre", "attribute", "Genre");
  schema.property("Book", "keywords", "attribute", "String", { upper: -1 });
  schema.property("Book", "authors", "reference", "Author", { upper: -1, opposite: books });
  schema.property("Book", "sequel", "reference", "Book");
  schema.property("Book", "chapters", "containment", "Chapter", { upper: -1 });
  schema.property("AudioBook", "minutes", "attribute", "Short");
  schema.property("AudioBook", "spokenBy", "reference", "Author");
  schema.property("Chapter", "title", "attribute", "String", { lower: 1 });
  schema.property("Shelf", "metres", "attribute", "Double");
  return schema;
}

function libraryRoots(edited) {
  const mary = element("Author", { name: "Mary Shelley" });
  const lewis = element("Author", { name: edited ? "C. L. Dodgson" : "Lewis Carroll" });
  const frankenstein = element(
    "Book",
    {
      title: "Frankenstein; or, The Modern Prometheus",
      isbn: "978-0-00-000001-2",
      genre: "novel",
      keywords: ["monster", "ice & electricity"],
      authors: [mary],
      chapters: ["Letter 1", "Letter 2", "Letter 3"].map((title) => element("Chapter", { title })),
    },
    "b1",
  );
  const glass = element("Book", { title: "Through the Looking-Glass", authors: [lewis] });
  const alice = element("Book", { title: "Alice's Adventures in Wonderland", genre: "novel", keywords: ["rabbit"], authors: [lewis], sequel: glass });
  const spoken = element("AudioBook", { title: "Frankenstein, spoken", minutes: 512, authors: [mary], spokenBy: "another document.xmi#//@authors.3" });
  mary.values.books = [frankenstein, spoken];
  lewis.values.books = edited ? [alice] : [alice, glass];
  const address = element("Address", { street: "Weaver's Quay" });
  const books = edited ? [frankenstein, alice, spoken, element("Book", { title: "Added one" })] : [frankenstein, alice, glass, spoken];
  if (edited) delete alice.values.sequel;
  return [element("Library", { name: "Riverside Library", address, authors: [mary, lewis], books })];
}

export function small() {
  const problems = [{ kind: "lower bound", text: "title is not set", place: "/library/books[1]", element: 9, wrong: true }];
  return report(librarySchema(), [writeDocument(librarySchema(), libraryRoots(false), { name: "library.krb", facts: [["version", "1"]], problems })]);
}

function edit(kind, rest) {
  return { kind, before: -1, after: -1, property: -1, elements: 1, pathBefore: "", pathAfter: "", valueBefore: "", valueAfter: "", sentence: "", ...rest };
}

export function two() {
  const schema = librarySchema();
  const before = writeDocument(schema, libraryRoots(false), { name: "old.krb" });
  const after = writeDocument(schema, libraryRoots(true), { name: "new.xmi", format: "xmi" });
  const find = (document, words) => {
    const { texts, elements, values } = document.data;
    let value = 0;
    for (let i = 0; i < elements.class.length; ++i) for (const end = value + elements.values[i]; value < end; ++value) if (values.value[value] === texts.indexOf(words)) return i;
    throw new Error(words);
  };
  const edits = [
    edit("changed", {
      before: find(before, "Lewis Carroll"),
      after: find(after, "C. L. Dodgson"),
      property: 0,
      pathBefore: "/library/authors[1]",
      pathAfter: "/library/authors[1]",
      valueBefore: '"Lewis Carroll"',
      valueAfter: '"C. L. Dodgson"',
      sentence: 'changed /library/authors[1].name: "Lewis Carroll" -> "C. L. Dodgson"',
    }),
    edit("removed", { before: find(before, "Through the Looking-Glass"), pathBefore: "/library/books[2]", sentence: "removed /library/books[2] (Book)" }),
    edit("added", { after: find(after, "Added one"), pathAfter: "/library/books[3]", sentence: "added /library/books[3] (Book)" }),
  ];
  const counts = { added: 1, removed: 1, moved: 0, reordered: 0, identity: 0, changed: 1 };
  return report(schema, [before, after], { counts, total: 3, edits });
}

export const hostileTexts = [
  "<img src=x onerror=alert(1)>",
  "</script><script>window.broken=1</script>",
  "</title><h1 id=broken>x</h1>",
  "<!--kr0:data--><!--",
  "<svg onload=window.broken=1>",
  '"><iframe src="https://example.org/"></iframe>',
  "javascript:window.broken=1",
  "{{constructor.constructor('window.broken=1')()}}",
  "__proto__",
  "constructor",
  "\u202egnp.exe\u202c after",
  "\u2066isolated\u2069 \u200emarks\u200f\u061c",
  "nul \u0000 bell \u0007 escape \u001b[31m line\nfeed tab\t delete \u007f next \u0085",
  "half \ud83d of a pair, \ude00 the other, \ud83d\ude00 both",
  "\u05e9\u05dc\u05d5\u05dd and 12 \u0645\u0631\u062d\u0628\u0627",
  "zero\u200bwidth \ufeff \u2028 \u2029",
  "long " + "words without end ".repeat(5000),
  "W".repeat(20000),
  "",
];

export function hostile() {
  const names = hostileTexts.slice(0, 15);
  const schema = new Schema(names.slice(0, 3).map((name) => [name, name]));
  schema.enumeration(hostileTexts[5], hostileTexts);
  names.forEach((name, i) => schema.type(name, { supertypes: i > 1 && i % 3 === 0 ? [names[i - 1]] : [], abstract: false, inPackage: i % 3 }));
  names.forEach((name, i) => {
    schema.property(name, `${hostileTexts[(i + 4) % 15]}${i}`, "attribute", hostileTexts[2], { isId: i === 3 });
    schema.property(name, hostileTexts[(i + 1) % 15], "attribute", hostileTexts[5], { upper: -1 });
    schema.property(name, `to ${hostileTexts[(i + 2) % 15]}`, "reference", names[(i + 1) % 15], { upper: -1 });
    schema.property(name, `in ${hostileTexts[(i + 3) % 15]}`, "containment", names[(i + 1) % 15], { upper: -1 });
  });
  const roots = names.map((name, i) => {
    const root = element(name, {}, hostileTexts[i]);
    root.values[`${hostileTexts[(i + 4) % 15]}${i}`] = hostileTexts[i];
    root.values[hostileTexts[(i + 1) % 15]] = hostileTexts;
    root.values[`to ${hostileTexts[(i + 2) % 15]}`] = hostileTexts;
    return root;
  });
  // a chain that is deeper than any screen
  for (let deep = roots[0], i = 0; i < 3000; ++i) {
    const type = (i + 1) % 15;
    const next = element(names[type], {}, null);
    deep.values[`in ${hostileTexts[(((type + 14) % 15) + 3) % 15]}`] = [next];
    deep = next;
  }
  const problems = hostileTexts.map((text, i) => ({ kind: text, text, place: text, element: i, wrong: i % 2 === 0 }));
  const facts = hostileTexts.map((text) => [text, text]);
  const document = (name) => {
    const made = writeDocument(schema, roots, { name, facts, problems });
    hostileTexts.forEach((text, i) => (made.data.shown.texts[i * 2] = text));
    return made;
  };
  const edits = hostileTexts.map((text, i) => edit("changed", { before: i, after: i, property: i, pathBefore: text, pathAfter: text, valueBefore: text, valueAfter: text, sentence: text }));
  const counts = { added: 0, removed: 0, moved: 0, reordered: 0, identity: 0, changed: edits.length };
  return report(schema, [document(hostileTexts[1]), document(hostileTexts[10])], { counts, total: edits.length, edits });
}

// 100,000 elements with about a million values.
export function large(count = 100_000) {
  const schema = librarySchema();
  const author = element("Author", { name: "Everybody" });
  author.values.books = [];
  const books = [];
  for (let made = 2, i = 0; made < count; ++i) {
    const chapters = Array.from({ length: Math.min(9, count - made - 1) }, (_, k) => element("Chapter", { title: `Chapter ${k} of ${i}` }));
    const book = element("Book", {
      title: `Book ${i} about ${["whales", "ice", "rabbits", "finches"][i % 4]}`,
      isbn: `978-${i}`,
      genre: "novel",
      keywords: Array.from({ length: 80 }, (_, k) => `word ${(i * 80 + k) % 300_000}`),
      authors: [author],
      chapters,
    });
    author.values.books.push(book);
    books.push(book);
    made += 1 + chapters.length;
  }
  return report(schema, [writeDocument(schema, [element("Library", { name: "Large", authors: [author], books })], { name: "large.krb" })]);
}

// A meta model of a thousand classes and more.
export function manyClasses(count = 1200) {
  const schema = new Schema([["one", "http://www.example.org/one"], ["two", "http://www.example.org/two"]]);
  const name = (i) => `Class${i}`;
  for (let i = 0; i < count; ++i) schema.type(name(i), { supertypes: i > 0 ? [name(Math.floor((i - 1) / 4))] : [], inPackage: i < count - 100 ? 0 : 1 });
  for (let i = 0; i < count; ++i) {
    schema.property(name(i), "name", "attribute", "String");
    schema.property(name(i), "next", "reference", name((i * 31 + 7) % count), { upper: -1 });
  }
  return report(schema, [writeDocument(schema, [element(name(0), { name: "only" })], { name: "many.krb" })]);
}

function escaped(text) {
  return text.toWellFormed().replace(/[&<>"']/g, (character) => `&#${character.charCodeAt(0)};`);
}

function block(id, content) {
  return `<script type="application/octet-stream" id="${id}">${gzipSync(content, { level: 1 }).toString("base64")}</script>`;
}

// The whole page: the template with a report in its places.
export function fill(template, { report: data, bytes }) {
  const rows = data.documents.flatMap((each) => each.usage.map((used) => `<tr><th scope="row">${escaped(data.classes[used.class].name)}</th><td>${used.instances}</td><td>${used.bytes}</td></tr>`));
  const tables = `<h1>${escaped(data.documents.map((each) => each.name).join(", "))}</h1><table><caption>Classes</caption><thead><tr><th>class</th><th>elements</th><th>bytes</th></tr></thead><tbody>${rows.join("")}</tbody></table>`;
  const parts = {
    title: escaped(data.documents.map((each) => each.name).join(", ")),
    tables,
    data: block("kr0-data", JSON.stringify(data)) + bytes.map((each, i) => block(`kr0-bytes-${i}`, each)).join(""),
  };
  return template.replace(/<!--kr0:(title|tables|data)-->/g, (_, part) => parts[part]);
}
