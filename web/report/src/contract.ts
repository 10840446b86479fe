// The data that the tool puts into the page.

export interface ClassData {
  name: string;
  package: number;
  abstract: boolean;
  supertypes: number[];
  used: boolean;
  kind: "class" | "datatype";
  properties: number[];
}

export interface EnumerationData {
  name: string;
  package: number;
  literals: { name: string; value: number }[];
}

export interface PropertyData {
  name: string;
  class: number;
  kind: "attribute" | "reference" | "containment";
  type: string;
  target: number;
  enumeration: number;
  lower: number;
  upper: number;
  ordered: boolean;
  unique: boolean;
  opposite: number;
  isId: boolean;
}

export interface PackageData {
  uri: string;
  name: string;
  fingerprint: string;
}

export interface Problem {
  kind: string;
  text: string;
  place: string;
  element: number;
  wrong: boolean;
}

export interface ClassUsage {
  class: number;
  instances: number;
  bytes: number;
  own: number;
  properties: { property: number; set: number; values: number; bytes: number }[];
}

export interface ShownBytes {
  format: "krb" | "krt";
  own: boolean;
  kinds: string;
  bytes: number[];
  property: number[];
  texts: Record<string, string>;
}

export interface DocumentData {
  name: string;
  format: string;
  bytes: number;
  facts: [string, string][];
  sizes: { format: string; bytes: number }[];
  problems: Problem[];
  problemCount: number;
  usage: ClassUsage[];
  overhead: number;
  texts: string[];
  elements: {
    class: number[];
    parent: number[];
    via: number[];
    at: number[];
    values: number[];
    identity: number[];
  };
  values: { property: number[]; value: (number | number[])[] };
  shown: ShownBytes | null;
}

export type EditKind = "added" | "removed" | "moved" | "reordered" | "identity" | "changed";
export const editKinds: EditKind[] = ["added", "removed", "moved", "reordered", "identity", "changed"];

export interface Edit {
  kind: EditKind;
  before: number;
  after: number;
  property: number;
  elements: number;
  pathBefore: string;
  pathAfter: string;
  valueBefore: string;
  valueAfter: string;
  sentence: string;
}

export interface Differences {
  counts: Record<EditKind, number>;
  total: number;
  edits: Edit[];
}

export interface ReportData {
  report: number;
  producer: string;
  classes: ClassData[];
  enumerations: EnumerationData[];
  properties: PropertyData[];
  packages: PackageData[];
  documents: DocumentData[];
  differences: Differences | null;
}
