// Takes packed data out of the page.

function bytesOfBase64(text: string): Uint8Array<ArrayBuffer> {
  const binary = atob(text.trim());
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = binary.charCodeAt(i);
  return bytes;
}

function unpacked(element: Element): Response {
  const packed = bytesOfBase64(element.textContent ?? "");
  element.remove(); // the text takes more memory than what it holds
  return new Response(new Blob([packed]).stream().pipeThrough(new DecompressionStream("gzip")));
}

// What the element with this id holds; nothing where it is not there. Can be asked once.
export async function takeBytes(id: string): Promise<Uint8Array | null> {
  const element = document.getElementById(id);
  return element ? new Uint8Array(await unpacked(element).arrayBuffer()) : null;
}

export async function takeJson(id: string): Promise<unknown> {
  const element = document.getElementById(id);
  if (!element) throw new Error("the page holds no data");
  return unpacked(element).json();
}
