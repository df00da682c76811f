// Rates out of counters, and the line that a chart draws of them.

const kept = 60;

// What was asked twice within a moment says nothing of a rate.
const least = 500;

export class Traffic {
  #links = new Map();

  /** Counters of a link at a time in milliseconds; a counter that went back began anew. */
  add(name, { rx, tx }, at) {
    const link = this.#links.get(name) ?? { points: [] };
    const { last } = link;
    if (last && at - last.at < least) return;
    if (last) {
      const seconds = (at - last.at) / 1000;
      const rate = (now, before) => (now >= before ? ((now - before) * 8) / seconds : 0);
      link.points.push({ at, rx: rate(rx, last.rx), tx: rate(tx, last.tx) });
      if (link.points.length > kept) link.points.shift();
    }
    link.last = { rx, tx, at };
    this.#links.set(name, link);
  }

  points(name) {
    return this.#links.get(name)?.points ?? [];
  }
}

/** The next of 1, 2, 5, 10 and so on: an axis that does not move with each point. */
export function ceiling(number, least = 1000) {
  let top = least;
  for (let i = 0; top < number; i += 1) top *= [2, 2.5, 2][i % 3];
  return top;
}

/** The path of a line through the values, the newest at the right edge. */
export function path(values, top, { width, height, most = kept }) {
  const step = width / (most - 1);
  return values
    .slice(-most)
    .map((value, i, shown) => {
      const x = width - (shown.length - 1 - i) * step;
      const y = height - (Math.min(value, top) / top) * height;
      return `${i === 0 ? 'M' : 'L'}${x.toFixed(1)} ${y.toFixed(1)}`;
    })
    .join('');
}
