// Which page an address means: #/objects/static-address/lan. Names may hold any character.

export function parse(hash) {
  const parts = hash.replace(/^#?\/?/, '').split('/').filter(Boolean).map(decoded);
  const [page = 'overview', ...rest] = parts;
  return { page, rest };
}

export const link = (...parts) => `#/${parts.map(encodeURIComponent).join('/')}`;

function decoded(part) {
  try {
    return decodeURIComponent(part);
  } catch {
    return part;
  }
}
