// Draws a class diagram that has its places.
import { svg } from "./dom";
import { toClass } from "./route";
import { lineHeight, padding, titleLines, type Placed, type PlacedBox, type PlacedLine } from "./layout";

// Shapes at the ends of lines, each with its tip at the origin and the line coming from the left.
const shapes: Record<string, string> = {
  triangle: "M0 0 L-12 -7 L-12 7 Z",
  diamond: "M0 0 L-8 -5 L-16 0 L-8 5 Z",
  arrow: "M-9 -5 L0 0 L-9 5",
};

function tip(shape: string, line: PlacedLine, atStart: boolean): SVGElement {
  const points = atStart ? [...line.points].reverse() : line.points;
  const end = points[points.length - 1];
  const before = points[points.length - 2] ?? end;
  const angle = (Math.atan2(end.y - before.y, end.x - before.x) * 180) / Math.PI;
  return svg("path", { class: shape, d: shapes[shape], transform: `translate(${end.x} ${end.y}) rotate(${angle})` });
}

function drawLine(line: PlacedLine): SVGElement {
  const path = line.points.map((point, i) => `${i === 0 ? "M" : "L"}${point.x} ${point.y}`).join(" ");
  return svg(
    "g",
    { class: `line ${line.kind}`, "data-from": line.from, "data-to": line.to },
    svg("path", { class: "way", d: path }),
    line.kind === "inheritance" && tip("triangle", line, true),
    line.kind === "composition" && tip("diamond", line, true),
    line.toEnd?.arrow && tip("arrow", line, false),
    line.labels.map((label) => svg("text", { class: "end", x: label.x, y: label.y - 4, "text-anchor": "middle" }, label.text)),
  );
}

function drawBox(box: PlacedBox): SVGElement {
  const titleHeight = titleLines(box) * lineHeight + padding;
  const middle = box.width / 2;
  const title = (text: string, line: number, style: string) => svg("text", { class: style, x: middle, y: padding / 2 + line * lineHeight - 4, "text-anchor": "middle" }, text);
  const content = [
    svg("rect", { class: "frame", width: box.width, height: box.height, rx: 3 }),
    svg("path", { class: "rule", d: `M0 ${titleHeight} H${box.width}` }),
    box.stereotype !== "" && title(box.stereotype, 1, "stereotype"),
    title(box.title, titleLines(box), box.abstract ? "title abstract" : "title"),
    box.lines.map((text, i) => svg("text", { x: padding, y: titleHeight + padding / 2 + (i + 1) * lineHeight - 5 }, text)),
  ];
  const place = { transform: `translate(${box.x} ${box.y})`, "data-box": box.id };
  if (box.class < 0) return svg("g", { class: "box enumeration", ...place }, ...content);
  return svg("a", { class: "box", href: toClass(box.class), ...place }, ...content);
}

export function drawDiagram(placed: Placed): SVGSVGElement {
  return svg(
    "svg",
    { class: "diagram", viewBox: `0 0 ${placed.width} ${placed.height}`, role: "group", "aria-label": "Class diagram" },
    ...placed.lines.map(drawLine),
    ...placed.boxes.map(drawBox),
  );
}
