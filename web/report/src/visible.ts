// Texts of documents as they can be seen: what has no picture, or turns the order of what follows, gets one.

export interface Piece {
  text: string;
  // What the piece stands for where that is not the text itself.
  means: string | null;
}

// Controls, marks that steer the order of writing, invisible ones, and halves of surrogate pairs.
const unseen =
  /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u180e\u200b\u200e\u200f\u2028-\u202e\u2060-\u206f\ufeff\ufff9-\ufffb]|[\ud800-\udbff](?![\udc00-\udfff])|(?<![\ud800-\udbff])[\udc00-\udfff]|\udb40[\udc00-\udc7f]/g;

function codeOf(character: string): string {
  return "U+" + character.codePointAt(0)!.toString(16).toUpperCase().padStart(4, "0");
}

// Pictures that all fonts have; the rest tell their code.
const pictures: Record<string, string> = { "\n": "\u21b5", "\t": "\u21e5" };

function pictureOf(character: string): Piece {
  const code = codeOf(character);
  return { text: pictures[character] ?? `<${code}>`, means: code };
}

export function piecesOf(text: string): Piece[] {
  const pieces: Piece[] = [];
  let end = 0;
  for (const match of text.matchAll(unseen)) {
    if (match.index > end) pieces.push({ text: text.slice(end, match.index), means: null });
    pieces.push(pictureOf(match[0]));
    end = match.index + match[0].length;
  }
  if (end < text.length) pieces.push({ text: text.slice(end), means: null });
  return pieces;
}

// The same as one string, for titles and labels.
export function visible(text: string): string {
  return text.replace(unseen, (character) => pictureOf(character).text);
}

// The first characters of a text; a surrogate pair is not cut in two.
export function cut(text: string, length: number): string {
  if (text.length <= length) return text;
  const last = text.charCodeAt(length - 1);
  return text.slice(0, last >= 0xd800 && last < 0xdc00 ? length - 1 : length);
}
