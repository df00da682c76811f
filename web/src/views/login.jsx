import { useEffect, useRef, useState } from 'preact/hooks';
import { Lost } from '../api.js';
import { t } from '../model/texts.js';
import { Logo, Preferences } from './page.jsx';

export function Login({ app, page }) {
  const [fault, setFault] = useState('');
  const [busy, setBusy] = useState(false);
  const user = useRef(null);
  const password = useRef(null);
  useEffect(() => {
    document.title = t('app.title', { page: t('login.title'), host: location.hostname });
    user.current.focus();
  }, []);

  const submit = async (event) => {
    event.preventDefault();
    setBusy(true);
    setFault('');
    try {
      await app.logIn(user.current.value, password.current.value);
    } catch (error) {
      setBusy(false);
      setFault(reason(error));
      password.current.value = '';
      password.current.focus();
    }
  };
  return (
    <main class="alone">
      <form class="card login" onSubmit={submit} aria-describedby="login-lead">
        <Logo size={44} />
        <h1>{t('login.title')}</h1>
        <p id="login-lead" class="lead">{lead(app, page)}</p>
        <div class="field">
          <label for="user">{t('login.user')}</label>
          <input id="user" ref={user} autocomplete="username" autocapitalize="none" spellcheck={false} required />
        </div>
        <div class="field">
          <label for="password">{t('login.password')}</label>
          <input id="password" ref={password} type="password" autocomplete="current-password" required
            aria-invalid={fault ? 'true' : undefined} aria-describedby={fault ? 'login-fault' : undefined} />
        </div>
        <div role="alert">{fault && <p class="fault" id="login-fault">{fault}</p>}</div>
        <button class="primary" disabled={busy}>{busy ? t('app.busy') : t('login.submit')}</button>
      </form>
      <div class="choices"><Preferences app={app} /></div>
    </main>
  );
}

function lead(app, page) {
  if (app.ended) return t('login.ended');
  return page === 'trial' ? t('login.trial') : t('login.lead');
}

function reason(error) {
  if (error instanceof Lost) return t('login.lost');
  if (error.type === 'login-refused') return t('login.refused');
  if (error.type === 'paused') return t('login.paused', { seconds: error.retryAfter });
  return error.message;
}
