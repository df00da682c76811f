// What the page has to know of a change on trial: how long, and where the device will be found.

const isHost = /^\d{1,3}(\.\d{1,3}){3}$/;

/**
 * Where the device will answer after a change that takes away the address that this page came from: its
 * new one, or null while the old one stays. `changes` are those of an explanation.
 */
export function newPlace(changes, location, id) {
  const host = location.hostname;
  if (!isHost.test(host)) return null;
  const addresses = changes.flatMap((change) =>
    change.values
      .filter(({ property }) => property === 'address')
      .map(({ before, after }) => ({ before: plain(before), after: plain(after) })),
  );
  if (addresses.some(({ after, before }) => after === host && before !== host)) return null;
  const moved = addresses.find(({ before, after }) => before === host && after !== host && isHost.test(after));
  if (!moved) return null;
  return `${location.protocol}//${moved.after}${location.port ? `:${location.port}` : ''}/#/trial/${encodeURIComponent(id)}`;
}

const plain = (address) => (address ?? '').split('/')[0];

/** Counts down by the browser's clock from what the device told; asked again, it goes on from there. */
export class Countdown {
  constructor(seconds, now) {
    this.end = now + seconds * 1000;
  }

  left(now) {
    return Math.max(0, Math.ceil((this.end - now) / 1000));
  }
}

/** What is said aloud: not each second, but when it begins to matter. */
export const isToldAloud = (left) => left === 60 || left === 30 || left === 10;

const weights = ['nothing', 'live', 'interrupts', 'restarts the device'];

/** The heaviest first, each kind of effect in a block of its own, as it stands in an explanation. */
export function effectsByWeight(explanation) {
  const effects = (explanation.providers ?? []).flatMap(({ name, effects: own }) =>
    (own ?? []).map(({ weight, text }) => ({ provider: name, weight, text })),
  );
  const found = [...new Set(effects.map((e) => e.weight))];
  const rank = (w) => (weights.includes(w) ? weights.indexOf(w) : weights.length);
  return found
    .sort((a, b) => rank(b) - rank(a))
    .map((weight) => ({ weight, effects: effects.filter((e) => e.weight === weight) }));
}
