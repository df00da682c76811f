// Two lines over two minutes, drawn as SVG.
import { bitsPerSecond } from '../model/format.js';
import { t } from '../model/texts.js';
import { ceiling, path } from '../model/traffic.js';

const size = { width: 600, height: 140 };

export function Chart({ points }) {
  const last = points.at(-1);
  const top = ceiling(Math.max(0, ...points.flatMap((p) => [p.rx, p.tx])));
  const said = last ? t('traffic.alt', { rx: bitsPerSecond(last.rx), tx: bitsPerSecond(last.tx) }) : t('traffic.wait');
  return (
    <div class="chart">
      <svg role="img" aria-label={said} viewBox={`0 0 ${size.width} ${size.height}`} preserveAspectRatio="none">
        {[0, 0.5, 1].map((part) => <line key={part} class="grid" x1="0" x2={size.width} y1={size.height * part} y2={size.height * part} />)}
        <path class="rx" d={path(points.map((p) => p.rx), top, size)} />
        <path class="tx" d={path(points.map((p) => p.tx), top, size)} />
      </svg>
      <p class="scale" aria-hidden="true"><span>{t('traffic.span')}</span><span>{t('traffic.top', { rate: bitsPerSecond(top) })}</span><span>{t('traffic.now')}</span></p>
    </div>
  );
}
