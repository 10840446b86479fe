// Pictures of the four main views of the library example, for the documentation.
//
//   node tests/report/screenshots.mjs FOLDER      (KR0_TOOL, KR0_REPORT_ROOM: see run.sh)
import { mkdirSync, statSync } from "node:fs";
import { join } from "node:path";
import { browser, open, pageOfTool, root, visit } from "./pages.mjs";

const [folder] = process.argv.slice(2);
if (!folder || !process.env.KR0_TOOL) throw new Error("needs the folder for the pictures, and KR0_TOOL");
const library = join(root, "examples/library");
const { file, report } = pageOfTool("library", [join(library, "library.xmi")], [join(library, "library.ecore")]);
const { elements } = report.documents[0];
const book = elements.class.findIndex((each) => report.classes[each].name.endsWith("Book"));

mkdirSync(folder, { recursive: true });
const tabs = await browser();
// Without motion, or what fades would be in the pictures.
const page = await open(tabs, file, { colorScheme: "light", reducedMotion: "reduce" });
for (const [name, address, prepare] of [
  ["report-diagram", "#/diagram", null],
  ["report-sizes", "#/sizes", null],
  ["report-tree", `#/element/0/${book}`, null],
  ["report-bytes", `#/bytes/0/${book}`, (tab) => tab.locator(".notes .row").nth(12).hover()],
]) {
  await visit(page, address);
  await page.mouse.move(1, 799);
  await prepare?.(page);
  await page.evaluate(() => document.activeElement?.blur());
  const path = join(folder, `${name}.png`);
  await page.screenshot({ path });
  console.log(`${path}: ${statSync(path).size} bytes`);
}
await tabs.close();
if (page.wrong.length > 0) throw new Error(page.wrong.join("\n"));
