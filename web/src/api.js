// Asks the gate. What it answers is handed over as it is; what it refuses is a Problem, and silence Lost.

const base = 'api/v1';
const usual = 15000;

/** The device has answered that it won't: see docs/api.md for what is in it. */
export class Problem extends Error {
  constructor(status, body, retryAfter) {
    super(body.detail || body.title || `HTTP ${status}`);
    this.status = status;
    this.type = (body.type ?? '').replace(/^urn:vorn:/, '');
    this.errors = body.errors ?? [];
    this.retryAfter = Number(retryAfter) || 0;
  }
}

/** The device has not answered. */
export class Lost extends Error {}

export class Api {
  csrf = '';
  onLoggedOut = () => {};
  onLost = () => {};
  onAnswer = () => {};

  async ask(method, path, body, patience = usual) {
    const headers = { Accept: 'application/json' };
    if (body !== undefined) headers['Content-Type'] = 'application/json';
    if (method !== 'GET' && this.csrf) headers['X-CSRF-Token'] = this.csrf;
    let response;
    let text;
    try {
      response = await fetch(`${base}${path}`, {
        method,
        headers,
        body: body === undefined ? undefined : JSON.stringify(body),
        credentials: 'same-origin',
        cache: 'no-store',
        signal: AbortSignal.timeout(patience),
      });
      text = await response.text();
    } catch (error) {
      this.onLost();
      throw new Lost(error.message);
    }
    this.onAnswer();
    const answer = parsed(text);
    if (response.ok) return answer;
    const problem = new Problem(response.status, answer, response.headers.get('Retry-After'));
    if (problem.status === 401 && problem.type !== 'login-refused') this.onLoggedOut();
    throw problem;
  }

  get = (path, patience) => this.ask('GET', path, undefined, patience);
  post = (path, body, patience) => this.ask('POST', path, body, patience);

  async logIn(user, password) {
    return this.#entered(await this.post('/session', { user, password }));
  }

  async session() {
    return this.#entered(await this.get('/session'));
  }

  #entered(session) {
    this.csrf = session.csrf;
    return session;
  }

  async logOut() {
    await this.ask('DELETE', '/session');
    this.csrf = '';
  }

  objects(className, name) {
    const path = name === undefined ? '' : `/${encodeURIComponent(name)}`;
    return this.get(`/objects/${encodeURIComponent(className)}${path}`);
  }
}

function parsed(text) {
  try {
    return JSON.parse(text);
  } catch {
    return {};
  }
}
