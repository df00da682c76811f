// Objects of a class while the device is asked for them, and when it could not tell.
import { useEffect } from 'preact/hooks';
import { t } from '../model/texts.js';

/** Keeps the objects of a class fresh while a page shows them, also those that no event tells of. */
export function useFresh(app, className, everyMs) {
  useEffect(() => {
    if (!app.schema.has(className)) return undefined;
    if (app.lists.get(className)?.state === 'ready') app.load(className);
    if (!everyMs) return undefined;
    const timer = setInterval(() => {
      if (!document.hidden && !app.lost) app.load(className);
    }, everyMs);
    return () => clearInterval(timer);
  }, [className]);
}

export function Loaded({ app, name, children }) {
  const list = app.objects(name);
  if (list.state === 'loading') return <p class="quiet">{t('app.loading')}</p>;
  if (list.state === 'failed')
    return (
      <p class="notice bad">
        <span>{t('app.failed', { reason: list.reason })}</span>
        <button type="button" onClick={() => app.load(name)}>{t('app.again')}</button>
      </p>
    );
  return children(list.objects);
}
