// Who is on a network, and how well they are heard.
import { duration } from '../model/format.js';
import { t } from '../model/texts.js';
import { Table } from './table.jsx';

export const stationsOf = (stations, network) => stations.filter((s) => s.properties.network === network.name);

export function Stations({ stations, network }) {
  const unknown = stations.find((s) => s.properties.unknown);
  if (unknown) return <p class="quiet">{t('station.unknown', { reason: unknown.properties.unknown })}</p>;
  if (stations.length === 0) return <p class="quiet">{t('radios.nobody')}</p>;
  return (
    <Table
      caption={t('radios.stations', { network })}
      columns={[
        { label: t('station.mac'), class: 'mono' },
        { label: t('station.signal') },
        { label: t('station.rates'), class: 'number' },
        { label: t('station.connected'), class: 'number' },
      ]}
      rows={stations.map(({ key, properties: p }) => ({
        key: p.mac || key,
        cells: [p.mac, <Signal dbm={Number(p.signal)} />, `${p['tx-rate'] || '–'} / ${p['rx-rate'] || '–'} Mbit/s`, duration(Number(p.connected) || 0)],
      }))}
    />
  );
}

/** Bars for the eye, words and numbers for everybody. */
function Signal({ dbm }) {
  const bars = 1 + [-80, -67, -57].filter((least) => dbm >= least).length;
  const quality = bars >= 3 ? 'good' : bars === 2 ? 'fair' : 'weak';
  return (
    <span class="signal">
      <svg viewBox="0 0 20 16" width="20" height="16" aria-hidden="true">
        {[0, 1, 2, 3].map((i) => <rect key={i} class={i < bars ? quality : 'none'} x={i * 5} y={12 - i * 4} width="4" height={4 + i * 4} rx="1" />)}
      </svg>
      {t(`signal.${quality}`)} <span class="quiet">{dbm} dBm</span>
    </span>
  );
}
