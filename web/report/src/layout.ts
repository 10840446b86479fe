// Places the boxes and lines of a class diagram.
import type { ELK, ElkNode, ElkExtendedEdge } from "elkjs/lib/elk-api";
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
  "elk.layered.spacing.nodeNodeBetweenLayers": "46",
  "elk.spacing.nodeNode": "32",
  "elk.spacing.edgeNode": "16",
  "elk.spacing.edgeEdge": "12",
  "elk.layered.spacing.edgeNodeBetweenLayers": "16",
  "elk.layered.spacing.edgeEdgeBetweenLayers": "12",
  "elk.spacing.edgeLabel": "3",
  "elk.layered.nodePlacement.strategy": "BRANDES_KOEPF",
  "elk.layered.nodePlacement.bk.fixedAlignment": "BALANCED",
  "elk.separateConnectedComponents": "true",
  "elk.aspectRatio": "1.5",
  "elk.padding": "[top=16,left=16,bottom=16,right=16]",
};

let engine: Promise<ELK> | null = null;

// The engine is large, so that it is set up when the first diagram is opened.
function layoutEngine(): Promise<ELK> {
  return (engine ??= import("elkjs/lib/elk.bundled.js").then((module) => new module.default()));
}

function toElk(diagram: Diagram, measure: Measure): ElkNode {
  const label = (end: End | null, placement: "HEAD" | "TAIL") =>
    end ? [{ text: endText(end), width: measure(endText(end), false) + 6, height: labelHeight, layoutOptions: { "elk.edgeLabels.placement": placement } }] : [];
  return {
    id: "root",
    layoutOptions: options,
    children: diagram.boxes.map((box) => ({ id: box.id, ...sizeOf(box, measure) })),
    edges: diagram.lines.map((line) => ({
      id: line.id,
      sources: [line.from],
      targets: [line.to],
      labels: [...label(line.fromEnd, "TAIL"), ...label(line.toEnd, "HEAD")],
      layoutOptions: { "elk.layered.priority.direction": line.kind === "inheritance" ? "10" : line.kind === "composition" ? "5" : "0" },
    })),
  };
}

function pointsOf(edge: ElkExtendedEdge): Point[] {
  return (edge.sections ?? []).flatMap((section) => [section.startPoint, ...(section.bendPoints ?? []), section.endPoint]);
}

export async function layout(diagram: Diagram, measure: Measure): Promise<Placed> {
  const placed = await (await layoutEngine()).layout(toElk(diagram, measure));
  const nodes = new Map((placed.children ?? []).map((each) => [each.id, each]));
  const edges = new Map(((placed.edges ?? []) as ElkExtendedEdge[]).map((each) => [each.id, each]));
  return {
    width: Math.ceil(placed.width ?? 0),
    height: Math.ceil(placed.height ?? 0),
    boxes: diagram.boxes.map((box) => {
      const { x = 0, y = 0, width = 0, height = 0 } = nodes.get(box.id)!;
      return { ...box, x, y, width, height };
    }),
    lines: diagram.lines.map((line) => {
      const edge = edges.get(line.id)!;
      return { ...line, points: pointsOf(edge), labels: (edge.labels ?? []).map((each) => ({ text: each.text ?? "", x: each.x ?? 0, y: each.y ?? 0 })) };
    }),
  };
}
