// What the tests of the page share: the built template, pages of models, and a browser that tells all that goes wrong.
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { basename, join } from "node:path";
import { fileURLToPath, pathToFileURL } from "node:url";
import { gunzipSync } from "node:zlib";
import * as sample from "./sample.mjs";

export const root = fileURLToPath(new URL("../..", import.meta.url));
// Where the page was built and its modules are; tests/report/run.sh sets it.
export const room = process.env.KR0_REPORT_ROOM ?? join(root, "web/report");
const require = createRequire(join(room, "package.json"));
const { chromium } = require("playwright-core");
export const template = readFileSync(join(room, "report.html"), "utf8");

const folder = mkdtempSync(join(tmpdir(), "kr0-report-"));
process.on("exit", () => rmSync(folder, { recursive: true, force: true }));

// A module of the page's sources, for tests of its functions.
export async function source(name) {
  const { build } = require("esbuild");
  const result = await build({ entryPoints: [join(room, "src", name)], bundle: true, write: false, format: "esm", external: ["elkjs/*", "d3-hierarchy"] });
  const file = join(folder, `${basename(name)}.mjs`);
  writeFileSync(file, result.outputFiles[0].text);
  return import(pathToFileURL(file));
}

export function pageOfSample(name) {
  const made = sample[name]();
  const file = join(folder, `${name}.html`);
  writeFileSync(file, sample.fill(template, made));
  return { name: `sample ${name}`, file, report: made.report };
}

export function pageOfTool(name, documents, metaModels) {
  const file = join(folder, `${name}.html`);
  const meta = metaModels.flatMap((each) => ["-m", each]);
  execFileSync(process.env.KR0_TOOL, ["report", ...documents, ...meta, "-o", file], { stdio: ["ignore", "ignore", "inherit"] });
  const block = /id="kr0-data">([^<]*)</.exec(readFileSync(file, "utf8"));
  return { name, file, report: JSON.parse(gunzipSync(Buffer.from(block[1], "base64")).toString("utf8")) };
}

function changedLibrary() {
  const text = readFileSync(join(root, "examples/library/library.xmi"), "utf8");
  const file = join(folder, "changed.xmi");
  writeFileSync(file, text.replace('number="14"', 'number="16"').replace(/.*title="Loomings".*\n/, ""));
  return file;
}

// The models that the tests look at: samples, and with the tool at hand real ones. `skipped` says what could not be.
export function models() {
  const made = [pageOfSample("small"), pageOfSample("two")];
  const skipped = [];
  const library = join(root, "examples/library");
  if (process.env.KR0_TOOL) {
    made.push(pageOfTool("library", [join(library, "library.xmi")], [join(library, "library.ecore")]));
    made.push(pageOfTool("library twice", [join(library, "library.xmi"), changedLibrary()], [join(library, "library.ecore")]));
  } else {
    skipped.push("pages that the tool makes: KR0_TOOL does not say where it is");
  }
  const outer = process.env.KR0_MODELS;
  if (process.env.KR0_TOOL && outer) {
    for (const [document, meta] of [
      ["archimate/Archisurance.archimate", "archimate/archimate.ecore"],
      ["modisco/test001_java.xmi", "modisco/java.ecore"],
      ["railway/railway-repair-1.xmi", "railway/railway.ecore"],
      ["social/initial-4.xmi", "social/social_network.ecore"],
    ]) {
      made.push(pageOfTool(basename(document), [join(outer, document)], [join(outer, meta)]));
    }
  } else {
    skipped.push("models of others: KR0_TOOL and KR0_MODELS do not say where they are");
  }
  return { models: made, skipped };
}

// How elements, values and texts of a report are asked for here, by other code than the page's.
export class Reader {
  constructor(report, document = 0) {
    this.report = report;
    this.data = report.documents[document];
    const { values } = this.data.elements;
    this.start = [0];
    for (const each of values) this.start.push(this.start[this.start.length - 1] + each);
  }

  valuesOf(element) {
    const { property, value } = this.data.values;
    return property.slice(this.start[element], this.start[element + 1]).map((each, i) => {
      const about = this.report.properties[each];
      return { property: about, value: [value[this.start[element] + i]].flat() };
    });
  }

  className(element) {
    return this.report.classes[this.data.elements.class[element]].name;
  }

  childrenOf(element) {
    return this.data.elements.parent.flatMap((parent, i) => (parent === element ? [i] : []));
  }
}

export async function browser() {
  const options = process.getuid?.() === 0 ? ["--no-sandbox"] : [];
  return chromium.launch({ executablePath: process.env.KR0_CHROMIUM ?? "/usr/bin/chromium", args: [...options, "--enable-precise-memory-info"] });
}

// A tab that collects what must not happen: errors, refusals by the policy, requests.
export async function open(in_, file, { address = "", ...options } = {}) {
  const context = await in_.newContext({ viewport: { width: 1280, height: 800 }, ...options });
  const page = await context.newPage();
  page.setDefaultTimeout(10_000);
  page.wrong = [];
  page.on("console", (message) => ["error", "warning"].includes(message.type()) && page.wrong.push(message.text()));
  page.on("pageerror", (error) => page.wrong.push(String(error)));
  page.on("dialog", (dialog) => (page.wrong.push(`dialog ${dialog.message()}`), dialog.dismiss()));
  page.on("request", (request) => request.url().startsWith("file:") && request.isNavigationRequest() ? null : page.wrong.push(`request ${request.url()}`));
  page.answered = [];
  page.on("response", (response) => response.url().startsWith("file:") || page.answered.push(response.url()));
  await page.goto(pathToFileURL(file).href + address);
  if (options.javaScriptEnabled !== false) await page.waitForSelector("html[data-ready]");
  return page;
}

// Goes to an address of the page and waits until its view stands there.
export async function visit(page, address) {
  await page.evaluate((to) => {
    if (location.hash === to) return;
    const changed = new Promise((resolve) => addEventListener("hashchange", resolve, { once: true }));
    location.hash = to;
    return changed;
  }, address);
  if (address.startsWith("#/diagram")) await page.waitForSelector(".diagram, main p[role=status] button, main p[role=status]:has-text('no class')");
  if (address.startsWith("#/bytes")) await page.waitForSelector(".notes .row, main p");
  if (address.startsWith("#/sizes")) await page.waitForSelector(".treemap");
}

// What a text looks like on the page; the page's own function has tests of its own.
export function words(node) {
  return node.innerText().then((text) => text.replace(/\s+/g, " ").trim());
}

export const axe = readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");
