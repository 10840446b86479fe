// Numbers for people.

const grouped = new Intl.NumberFormat("en-US");

export function countText(count: number): string {
  return grouped.format(count);
}

export function counted(count: number, one: string, many = one + "s"): string {
  return `${countText(count)} ${count === 1 ? one : many}`;
}

export function bytesText(bytes: number): string {
  if (bytes < 1000) return `${bytes} B`;
  const units = ["kB", "MB", "GB", "TB"];
  let amount = bytes / 1000;
  let unit = 0;
  while (amount >= 999.5 && unit + 1 < units.length) {
    amount /= 1000;
    ++unit;
  }
  return `${amount < 9.995 ? amount.toFixed(2) : amount < 99.95 ? amount.toFixed(1) : amount.toFixed(0)} ${units[unit]}`;
}

export function shareText(part: number, whole: number): string {
  return whole > 0 ? `${((100 * part) / whole).toFixed(1)} %` : "";
}

export function multiplicityText(lower: number, upper: number): string {
  if (upper < 0) return lower === 0 ? "*" : `${lower}..*`;
  return lower === upper ? `${lower}` : `${lower}..${upper}`;
}
