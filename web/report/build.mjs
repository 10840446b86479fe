// Makes the page's template: one HTML file with script and style inside, and a policy that allows exactly these two.
//
//   node build.mjs [--outfile=report.html]
import { build } from "esbuild";
import { createHash } from "node:crypto";
import { readFile, writeFile } from "node:fs/promises";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";

const here = dirname(fileURLToPath(import.meta.url));
const option = process.argv.slice(2).find((argument) => argument.startsWith("--outfile="));
const outfile = option ? option.slice("--outfile=".length) : join(here, "report.html");
const largest = 3_000_000;
const slots = ["<!--kr0:title-->", "<!--kr0:tables-->", "<!--kr0:data-->"];

async function bundle(entry) {
  const result = await build({
    entryPoints: [join(here, "src", entry)],
    bundle: true,
    minify: true,
    write: false,
    format: "iife",
    target: "es2022",
    charset: "ascii",
    legalComments: "inline",
    // The layout library runs in the page itself; its optional module for workers is not installed.
    external: ["web-worker"],
    define: { require: "undefined" },
    logLevel: "error",
  });
  return result.outputFiles[0].text.trim();
}

// What the licences of the libraries ask for in copies of them.
async function notices() {
  const file = (library, name) => readFile(join(here, "node_modules", library, name), "utf8");
  const { version } = JSON.parse(await file("elkjs", "package.json"));
  return `/*! elkjs ${version}: Eclipse Public License 2.0, source at https://github.com/kieler/elkjs */\n/*! d3-hierarchy:\n${await file("d3-hierarchy", "LICENSE")}*/\n`;
}

function hashOf(text) {
  return `'sha256-${createHash("sha256").update(text, "utf8").digest("base64")}'`;
}

const script = (await notices()) + (await bundle("main.ts"));
const style = await bundle("style.css");
if (/<\/script|<!--/i.test(script)) throw new Error("the script holds what ends or hides a script element");
if (/<\//.test(style)) throw new Error("the style holds what ends a style element");

const policy = [
  "default-src 'none'",
  `script-src ${hashOf(script)}`,
  `style-src ${hashOf(style)}`,
  "base-uri 'none'",
  "form-action 'none'",
].join("; ");

const skeleton = await readFile(join(here, "src", "template.html"), "utf8");
const parts = { "@policy@": policy, "@style@": style, "@script@": script };
const page = skeleton.replace(/@(policy|style|script)@/g, (name) => parts[name]);
for (const slot of slots) {
  if (page.split(slot).length !== 2) throw new Error(`${slot} does not stand in the page exactly once`);
}
const bytes = Buffer.byteLength(page);
if (bytes > largest) throw new Error(`the page has ${bytes} bytes, more than ${largest}`);
await writeFile(outfile, page);
console.log(`${outfile}: ${bytes} bytes`);
