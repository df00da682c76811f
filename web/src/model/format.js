// Numbers and times for people.
import { locale, t } from './texts.js';

const powers = ['', 'k', 'M', 'G', 'T'];

function scaled(number, unit) {
  let power = 0;
  while (number >= 1000 && power < powers.length - 1) {
    number /= 1000;
    power += 1;
  }
  const digits = power > 0 && number < 10 ? 1 : 0;
  const told = number.toLocaleString(locale(), { minimumFractionDigits: digits, maximumFractionDigits: digits });
  return `${told} ${powers[power]}${unit}`;
}

export const bytes = (number) => scaled(number, 'B');
export const bitsPerSecond = (number) => scaled(number, 'bit/s');

export function duration(seconds) {
  const days = Math.floor(seconds / 86400);
  const hours = Math.floor((seconds % 86400) / 3600);
  const minutes = Math.floor((seconds % 3600) / 60);
  if (days > 0) return `${t('time.days', { count: days })} ${t('time.hours', { count: hours })}`;
  if (hours > 0) return `${t('time.hours', { count: hours })} ${t('time.minutes', { count: minutes })}`;
  if (minutes > 0) return t('time.minutes', { count: minutes });
  return t('time.seconds', { count: Math.floor(seconds) });
}

/** A time as the device tells it; the reader's own zone, or the text itself where it is none. */
export function moment(text) {
  const time = new Date(text);
  if (!text || Number.isNaN(time.getTime())) return text ?? '';
  return time.toLocaleString(locale(), { dateStyle: 'medium', timeStyle: 'medium' });
}

export const countdown = (seconds) =>
  `${Math.floor(seconds / 60)}:${String(Math.max(0, Math.floor(seconds % 60))).padStart(2, '0')}`;
