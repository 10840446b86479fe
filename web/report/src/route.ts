// Addresses of views, in the fragment of the page's own.

export interface Route {
  view: string;
  parts: string[];
  options: URLSearchParams;
}

export function parseRoute(fragment: string): Route {
  const address = fragment.replace(/^#?\/?/, "");
  const mark = address.indexOf("?");
  const path = mark < 0 ? address : address.slice(0, mark);
  const [view, ...parts] = path.split("/").map(decode);
  return { view: view || "summary", parts, options: new URLSearchParams(mark < 0 ? "" : address.slice(mark + 1)) };
}

function decode(part: string): string {
  try {
    return decodeURIComponent(part);
  } catch {
    return part;
  }
}

type Options = Record<string, string | number | undefined>;

export function address(view: string, parts: (string | number)[] = [], options: Options = {}): string {
  const path = ["#", view, ...parts.map((part) => encodeURIComponent(String(part).toWellFormed()))].join("/");
  const given = new URLSearchParams();
  for (const [name, value] of Object.entries(options)) if (value !== undefined && value !== "") given.set(name, String(value));
  const text = given.toString();
  return text ? `${path}?${text}` : path;
}

export const toClass = (index: number) => address("class", [index]);
export const toElement = (document: number, index: number, options: Options = {}) => address("element", [document, index], options);
export const toBytes = (document: number, index: number, options: Options = {}) => address("bytes", [document, index], options);

// The number that a part of an address says, if it is one from 0 to below `count`; else -1.
export function indexIn(part: string | undefined, count: number): number {
  const index = part !== undefined && /^\d{1,9}$/.test(part) ? Number(part) : -1;
  return index < count ? index : -1;
}
