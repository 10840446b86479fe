// Places the boxes and lines of a class diagram.
import type { ELK, ElkExtendedEdge, ElkLabel, ElkNode, ElkPort } from "elkjs/lib/elk-api";
import type { Box, Diagram, End, Line } from "./uml";

export interface Point {
  x: number;
  y: number;
}

export interface PlacedBox extends Box {
  x: number;
  y: number;
  width: number;
  height: number;
}

// The point is the middle of its lower edge.
export interface PlacedLabel extends Point {
  text: string;
}

export interface PlacedLine extends Line {
  points: Point[];
  labels: PlacedLabel[];
}

export interface Placed {
  width: number;
  height: number;
  boxes: PlacedBox[];
  lines: PlacedLine[];
}

export const lineHeight = 17;
export const labelHeight = 15;
export const padding = 8;

export type Measure = (text: string, bold: boolean) => number;

export function titleLines(box: Box): number {
  return box.stereotype ? 2 : 1;
}

function sizeOf(box: Box, measure: Measure): { width: number; height: number } {
  const widths = [measure(box.title, true), measure(box.stereotype, false), ...box.lines.map((line) => measure(line, false))];
  const body = box.lines.length > 0 ? box.lines.length * lineHeight + padding : padding;
  return { width: Math.max(70, Math.ceil(Math.max(...widths)) + 2 * padding), height: titleLines(box) * lineHeight + padding + body };
}

export function endText(end: End): string {
  return end.role === "" ? end.multiplicity : `${end.role} ${end.multiplicity}`;
}

const options = {
  "elk.algorithm": "layered",
  "elk.direction": "DOWN",
  "elk.edgeRouting": "ORTHOGONAL",
  "elk.layered.spacing.nodeNodeBetweenLayers": "38",
  "elk.spacing.nodeNode": "32",
  "elk.spacing.edgeNode": "16",
  "elk.spacing.edgeEdge": "12",
  "elk.layered.spacing.edgeNodeBetweenLayers": "16",
  "elk.layered.spacing.edgeEdgeBetweenLayers": "12",
  "elk.layered.nodePlacement.strategy": "BRANDES_KOEPF",
  "elk.layered.nodePlacement.bk.fixedAlignment": "BALANCED",
  "elk.separateConnectedComponents": "true",
  "elk.aspectRatio": "1.5",
  "elk.padding": "[top=16,left=16,bottom=16,right=16]",
};

const boxOptions = {
  "elk.nodeSize.constraints": "[PORTS, PORT_LABELS, MINIMUM_SIZE]",
  "elk.portConstraints": "FREE",
  "elk.portLabels.placement": "[OUTSIDE, NEXT_TO_PORT_IF_POSSIBLE]",
  "elk.spacing.portPort": "14",
  "elk.spacing.labelPortHorizontal": "4",
  "elk.spacing.labelPortVertical": "1",
};

// What should rather point downwards where not all lines can.
const priorities = { inheritance: "10", composition: "5", association: "0" };

let engine: Promise<ELK> | null = null;

// The engine is large, so that it is set up when the first diagram is opened.
function layoutEngine(): Promise<ELK> {
  return (engine ??= import("elkjs/lib/elk.bundled.js").then((module) => new module.default()));
}

// Lines end in ports that carry their words, so that each has the room that these need; lines to subtypes share one.
interface Port {
  id: string;
  text: string;
}

function portOf(line: Line, atStart: boolean): Port {
  if (line.kind === "inheritance") return atStart ? { id: `${line.from}/subtypes`, text: "" } : { id: `${line.id}/to`, text: "" };
  const end = atStart ? line.fromEnd : line.toEnd;
  return { id: `${line.id}/${atStart ? "from" : "to"}`, text: end ? endText(end) : "" };
}

function portsByBox(lines: Line[]): Map<string, Map<string, Port>> {
  const boxes = new Map<string, Map<string, Port>>();
  const add = (box: string, port: Port) => {
    if (!boxes.has(box)) boxes.set(box, new Map());
    boxes.get(box)!.set(port.id, port);
  };
  for (const line of lines) {
    add(line.from, portOf(line, true));
    add(line.to, portOf(line, false));
  }
  return boxes;
}

function toElk(diagram: Diagram, measure: Measure): ElkNode {
  const ports = portsByBox(diagram.lines);
  const elkPort = ({ id, text }: Port) => ({ id, width: 0, height: 0, labels: text ? [{ text, width: measure(text, false) + 14, height: labelHeight }] : [] });
  return {
    id: "root",
    layoutOptions: options,
    children: diagram.boxes.map((box) => {
      const { width, height } = sizeOf(box, measure);
      return { id: box.id, width, height, ports: [...(ports.get(box.id)?.values() ?? [])].map(elkPort), layoutOptions: { ...boxOptions, "elk.nodeSize.minimum": `(${width},${height})` } };
    }),
    edges: diagram.lines.map((line) => ({ id: line.id, sources: [portOf(line, true).id], targets: [portOf(line, false).id], layoutOptions: { "elk.layered.priority.direction": priorities[line.kind] } })),
  };
}

function pointsOf(edge: ElkExtendedEdge): Point[] {
  return (edge.sections ?? []).flatMap((section) => [section.startPoint, ...(section.bendPoints ?? []), section.endPoint]);
}

export async function layout(diagram: Diagram, measure: Measure): Promise<Placed> {
  const placed = await (await layoutEngine()).layout(toElk(diagram, measure));
  const nodes = new Map((placed.children ?? []).map((each) => [each.id, each]));
  const edges = new Map(((placed.edges ?? []) as ElkExtendedEdge[]).map((each) => [each.id, each]));
  const words = new Map((placed.children ?? []).flatMap(portLabels));
  const labelsOf = (line: Line) => [true, false].flatMap((atStart) => words.get(portOf(line, atStart).id) ?? []);
  return {
    width: Math.ceil(placed.width ?? 0),
    height: Math.ceil(placed.height ?? 0),
    boxes: diagram.boxes.map((box) => {
      const { x = 0, y = 0, width = 0, height = 0 } = nodes.get(box.id)!;
      return { ...box, x, y, width, height };
    }),
    lines: diagram.lines.map((line) => ({ ...line, points: pointsOf(edges.get(line.id)!), labels: labelsOf(line) })),
  };
}

// A label stands relative to its port, and that to its box.
function portLabels(node: ElkNode): [string, PlacedLabel[]][] {
  const place = (port: ElkPort, label: ElkLabel) => ({ text: label.text ?? "", x: (node.x ?? 0) + (port.x ?? 0) + (label.x ?? 0) + (label.width ?? 0) / 2, y: (node.y ?? 0) + (port.y ?? 0) + (label.y ?? 0) + labelHeight });
  return (node.ports ?? []).map((port) => [port.id, (port.labels ?? []).map((label) => place(port, label))]);
}
