// A gate made of nothing but the contract of docs/api.md: for tests of the page with schemas that no
// device has. What it knows of a device stands in a board: { schema, objects, effects }.
import { createHash } from 'node:crypto';
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { join } from 'node:path';
import { gzipSync } from 'node:zlib';

const types = { html: 'text/html', js: 'text/javascript', css: 'text/css', svg: 'image/svg+xml' };
const policy = "default-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'self'";
const clone = (value) => structuredClone(value);
const now = () => new Date().toISOString().replace(/\.\d+/, '');

export class FakeGate {
  #streams = new Set();
  #timer = null;

  constructor(board, { files, password = 'secret' } = {}) {
    Object.assign(this, { board, files, password });
    this.number = 1;
    this.commits = [];
    this.generations = [{ id: 1, time: now(), user: '', program: '', comment: '', changes: '', proven: true, state: 'good', objects: clone(this.board.objects) }];
    this.trial = null;
    this.sessions = new Map();
    this.requests = [];
    this.tries = 0;
    this.isSilent = false;
    this.isMute = false;
  }

  async listen(port = 0, host = '127.0.0.1') {
    this.server = createServer((request, response) => this.#serve(request, response));
    await new Promise((done) => this.server.listen(port, host, done));
    return `http://${host}:${this.server.address().port}`;
  }

  close() {
    clearTimeout(this.#timer);
    for (const stream of this.#streams) stream.end();
    this.server.closeAllConnections();
    this.server.close();
  }

  /** How many pages are told of what happens. */
  get listeners() {
    return this.#streams.size;
  }

  /** As after a cable was pulled: nothing is answered, and streams break. */
  silence(isSilent) {
    this.isSilent = isSilent;
    if (isSilent) {
      for (const stream of this.#streams) stream.destroy();
      this.server.closeAllConnections();
    }
  }

  get commit() {
    return `${this.number}-fake`;
  }

  async #serve(request, response) {
    if (this.isSilent) return request.socket.destroy();
    // What is never answered looks like a cable that was pulled far away.
    if (this.isMute) return undefined;
    const url = new URL(request.url, 'http://device');
    this.requests.push(`${request.method} ${url.pathname}`);
    response.setHeader('Content-Security-Policy', policy);
    if (!url.pathname.startsWith('/api/v1/')) return this.#file(url, response);
    let body = '';
    for await (const piece of request) body += piece;
    const told = this.#answer(request, response, url, body);
    if (told === undefined) return undefined;
    const [status, value, headers = {}] = told;
    const type = status >= 400 ? 'application/problem+json' : 'application/json';
    response.writeHead(status, { 'Content-Type': type, 'Cache-Control': 'no-store', ...headers });
    return response.end(value === undefined ? '' : JSON.stringify(value));
  }

  async #file(url, response) {
    const name = url.pathname === '/' ? 'index.html' : url.pathname.slice(1);
    try {
      if (!/^[\w.-]+$/.test(name)) throw new Error('no file');
      const packed = gzipSync(await readFile(join(this.files, name)));
      response.writeHead(200, { 'Content-Type': types[name.split('.').pop()], 'Content-Encoding': 'gzip' });
      response.end(packed);
    } catch {
      response.writeHead(404).end();
    }
  }

  #answer(request, response, url, body) {
    const path = url.pathname.slice('/api/v1'.length).split('/').slice(1).map(decodeURIComponent);
    const { method } = request;
    let asked = {};
    if (body) {
      try {
        asked = JSON.parse(body);
      } catch {
        return problem(400, 'bad-request', 'not JSON');
      }
    }
    if (path[0] === 'session' && method === 'POST') return this.#logIn(asked);
    const cookie = /vorn-session=(\w+)/.exec(request.headers.cookie ?? '')?.[1];
    const session = this.sessions.get(cookie);
    if (!session) return problem(401, 'not-logged-in', 'Nobody is logged in.');
    if (method !== 'GET' && request.headers['x-csrf-token'] !== session.csrf) return problem(403, 'csrf', 'The token is missing.');
    if (path[0] === 'session' && method === 'DELETE') {
      this.sessions.delete(cookie);
      return [204];
    }
    if (path[0] === 'events') return this.#stream(response);
    const doing = this.#paths[`${method} ${path[0]}`];
    return doing ? doing.call(this, path.slice(1), asked, session, url) : problem(404, 'not-found', 'There is no such path.');
  }

  #logIn({ user, password }) {
    if (password !== this.password) {
      this.tries += 1;
      if (this.tries > 3) return problem(429, 'paused', 'Too many tries.', { headers: { 'Retry-After': '7' } });
      return problem(401, 'login-refused', 'User and password do not belong together.');
    }
    const id = createHash('sha1').update(`${user} ${this.sessions.size} ${Math.random()}`).digest('hex');
    this.sessions.set(id, { user, csrf: id.slice(0, 8), expires: 3600 });
    return [200, { user, csrf: id.slice(0, 8), expires: 3600 }, { 'Set-Cookie': `vorn-session=${id}; HttpOnly; SameSite=Strict; Path=/api/` }];
  }

  #paths = {
    'GET session': (path, asked, session) => [200, session],
    'GET schema': () => [200, this.board.schema],
    'GET status': () => [200, this.#status()],
    'GET trial': () => [200, this.#trialNow()],
    'GET commits': () => [200, { commits: this.commits }],
    'GET objects': (path) => this.#objects(path),
    'POST changes': (path, asked, session) => this.#change(asked, session),
    'POST trial': (path, asked) => this.#endTrial(path[0], asked),
    'GET history': (path) => this.#history(path),
    'POST history': (path, asked, session) => this.#rollback(path, asked, session),
  };

  #status() {
    const states = this.board.objects.filter((o) => o.properties.state);
    const told = ({ class: c, name, properties }) => ({ class: c, name, property: 'state', detail: properties.state });
    return {
      commit: this.commit,
      schema: this.board.schema.id,
      device: { hostname: 'ap1' },
      save: { result: this.trial ? 'held' : 'saved' },
      trial: this.#trialNow(),
      problems: states.filter((o) => /^(waiting|failed)/.test(o.properties.state)).map(told),
      states: states.map(told),
    };
  }

  #klass(name) {
    return this.board.schema.classes.find((c) => c.name === name);
  }

  #objects([className, name]) {
    const klass = this.#klass(className);
    if (!klass) return problem(404, 'not-found', `There is no class "${className}".`);
    this.board.tick?.(this.board);
    const isOf = (c) => c === className || this.#klass(c)?.superclass === className;
    const found = this.board.objects.filter((o) => isOf(o.class) && (name === undefined || o.name === name));
    if (name !== undefined && found.length === 0) return problem(404, 'not-found', 'There is no such object.');
    return [200, { commit: this.commit, objects: found.map((o) => this.#told(o)) }];
  }

  #told(object) {
    const klass = this.#klass(object.class);
    const properties = Object.fromEntries(
      klass.properties
        .filter((p) => p.readable || p.secret)
        .map((p) => [p.name, p.secret && object.properties[p.name] ? '********' : (object.properties[p.name] ?? '')]),
    );
    return { class: object.class, ...(object.name === undefined ? {} : { name: object.name }), etag: this.#etag(object), properties };
  }

  #etag(object) {
    const klass = this.#klass(object.class);
    const set = klass.properties.filter((p) => p.writable).map((p) => [p.name, object.properties[p.name] ?? '']);
    return `"o-${createHash('sha1').update(JSON.stringify(set)).digest('hex').slice(0, 12)}"`;
  }

  #change(asked, { user }) {
    if (asked['if-match'] && asked['if-match'] !== this.commit) return problem(412, 'changed', 'The configuration has changed.');
    if (this.trial && asked.join !== this.trial.id) return problem(409, 'trial', `A change of ${this.trial.holder} is on trial.`);
    const after = clone(this.board.objects);
    const errors = [];
    for (const [i, change] of asked.changes.entries()) {
      const error = this.#carryOut(after, change);
      if (error?.status) return error.answer;
      if (error) errors.push({ class: change.class, name: change.name, change: i, ...error });
    }
    const changes = this.#differences(this.board.objects, after);
    if (asked.explain) return [200, { commit: this.commit, changes, providers: errors.length > 0 ? [] : this.#effects(changes), refused: errors }];
    if (errors.length > 0) return problem(422, 'refused', errors[0].detail, { errors });
    return this.#apply(after, asked, user, changes, 'done');
  }

  #carryOut(objects, { op, class: c, name, properties = {}, 'if-match': etag, where }) {
    const klass = this.#klass(c);
    if (!klass) return { detail: `There is no class "${c}".` };
    if (this.#isDenied(klass, op, properties)) return { status: 403, answer: problem(403, 'access-denied', `Access denied: class "${c}".`) };
    if (op === 'insert') {
      if (klass.type === 'unique-named' && objects.some((o) => o.class === c && o.name === name)) return { detail: `"${name}" is there already.` };
      const missing = klass.properties.find((p) => p.required && !properties[p.name]);
      if (missing) return { property: missing.name, detail: `Property "${missing.name}" is required.` };
      objects.push({ class: c, ...(name === undefined ? {} : { name }), properties: {} });
    }
    const at = op === 'insert' ? objects.length - 1 : objects.findIndex((o) => o.class === c && (where ? this.#fulfils(o, where) : o.name === name));
    if (at < 0) return { detail: `There is no "${name ?? c}".` };
    if (etag && etag !== this.#etag(objects[at])) return { status: 412, answer: problem(412, 'changed', `"${name}" has changed.`) };
    if (op === 'delete') {
      objects.splice(at, 1);
      return null;
    }
    for (const [property, value] of Object.entries(properties)) {
      const known = klass.properties.find((p) => p.name === property);
      if (!known?.writable) return { property, detail: `Property "${property}" can't be written.` };
      const refused = this.board.judge?.(c, property, value);
      if (refused) return { property, detail: refused };
      if (value !== '********') objects[at].properties[property] = value;
    }
    return null;
  }

  #isDenied(klass, op, properties) {
    const word = op === 'insert' ? 'insertable' : 'changeable';
    const may = { insert: klass.insertable, delete: klass.deletable }[op] ?? true;
    return !may || klass.properties.some((p) => p.writable && p.name in properties && !p[word]);
  }

  /** Knows the conditions that the page makes: equalities and absences with "and" between them. */
  #fulfils(object, where) {
    return where.split(' and ').every((part) => {
      const [, not, name, , value] = /^(not )?(\S+)( = ["'](.*)["'])?$/.exec(part);
      const has = name === '@name' ? object.name : (object.properties[name] ?? '');
      return not ? has === '' : has === value;
    });
  }

  #differences(before, after) {
    const keyed = (objects) => new Map(objects.map((o, i) => [JSON.stringify([o.class, o.name ?? i]), o]));
    const [old, young] = [keyed(before), keyed(after)];
    const changes = [];
    for (const [key, o] of old) if (!young.has(key)) changes.push(this.#difference('deleted', o, o.properties, {}));
    for (const [key, o] of young) {
      const was = old.get(key);
      const change = this.#difference(was ? 'updated' : 'inserted', o, was?.properties ?? {}, o.properties);
      if (!was || change.values.length > 0) changes.push(change);
    }
    return changes;
  }

  #difference(action, { class: c, name }, before, after) {
    const secret = (p) => this.#klass(c).properties.find((known) => known.name === p)?.secret;
    const shown = (p, value) => (value ? (secret(p) ? '********' : value) : null);
    const values = Object.keys({ ...before, ...after })
      .filter((p) => this.#klass(c).properties.find((known) => known.name === p)?.writable)
      .filter((p) => (before[p] ?? '') !== (after[p] ?? ''))
      .map((property) => ({ property, before: shown(property, before[property]), after: shown(property, after[property]) }));
    return { action, class: c, ...(name === undefined ? {} : { name }), values };
  }

  #effects(changes) {
    return [
      {
        name: 'fake',
        instances: changes.map(({ action, class: c, name }) => ({ action: action.slice(0, -1), class: c, name })),
        effects: this.board.effects?.(changes) ?? [{ weight: 'live', text: 'the settings are applied' }],
      },
    ];
  }

  #apply(after, asked, user, changes, result) {
    const before = this.board.objects;
    this.board.objects = after;
    const brief = changes.map((c) => `${c.action} ${c.class} ${c.name ?? ''} ${c.values.map((v) => `${v.property}=${v.after}`).join(' ')}`.trim()).join(', ');
    if (asked.trial) {
      const id = this.trial?.id ?? createHash('sha1').update(String(Math.random())).digest('hex').slice(0, 16);
      const until = Date.now() + asked.trial * 1000;
      this.trial = { id, holder: `${user} (gate)`, until, before: this.trial?.before ?? before, comment: asked.comment, user, brief };
      clearTimeout(this.#timer);
      this.#timer = setTimeout(() => this.takeBack(), asked.trial * 1000);
    } else this.#save({ user, comment: asked.comment, brief });
    this.#commit(user, brief, result, changes.length);
    this.#say('trial', this.#trialNow());
    const trial = this.trial ? { trial: { id: this.trial.id, 'deadline-seconds': asked.trial } } : {};
    return [200, { commit: this.commit, saved: !this.trial, counts: [], ...trial }];
  }

  #commit(user, changes, result, changed) {
    this.number += 1;
    const commit = { number: this.number, time: now(), user, process: '1', program: 'vorn-gate', origin: 'gate', changes, result, failures: '', changed, deleted: 0, microseconds: {}, providers: [] };
    this.commits.unshift(commit);
    this.#say('change', commit, `1-${this.number}`);
  }

  #save({ user, comment, brief }) {
    const id = this.generations[0].id + 1;
    this.generations.unshift({ id, time: now(), user, program: 'vorn-gate', comment: comment ?? '', changes: brief, proven: false, state: 'good', objects: clone(this.board.objects) });
  }

  #trialNow() {
    if (!this.trial) return { state: 'none' };
    const { id, holder, until } = this.trial;
    return { state: 'pending', id, holder, since: now(), until: new Date(until).toISOString(), remaining: Math.max(0, Math.round((until - Date.now()) / 1000)) };
  }

  #endTrial(how, { id }) {
    if (this.trial?.id !== id) return problem(409, 'trial', 'There is no trial of this id.');
    if (how === 'revert') this.takeBack();
    else {
      const { user, comment, brief } = this.trial;
      clearTimeout(this.#timer);
      this.trial = null;
      this.#save({ user, comment, brief });
      this.#commit(user, '', 'confirmed', 0);
      this.#say('trial', this.#trialNow());
    }
    return [200, { commit: this.commit, saved: true }];
  }

  takeBack() {
    clearTimeout(this.#timer);
    this.board.objects = this.trial.before;
    this.trial = null;
    this.#commit('', '', 'reverted', 1);
    this.#say('trial', this.#trialNow());
  }

  #history([id, what, other]) {
    const told = ({ objects, ...generation }) => generation;
    if (id === undefined) return [200, { generations: this.generations.map(told) }];
    const one = this.generations.find((g) => String(g.id) === id);
    const two = other === undefined ? { objects: this.board.objects } : this.generations.find((g) => String(g.id) === other);
    if (!one || !two) return problem(404, 'not-found', 'There is no such generation.');
    if (what === undefined) return [200, { ...told(one), objects: one.objects }];
    return [200, { from: one.id, to: two.id ?? null, changes: this.#differences(one.objects, two.objects) }];
  }

  #rollback([id], asked, { user }) {
    const generation = this.generations.find((g) => String(g.id) === id);
    if (!generation) return problem(404, 'not-found', 'There is no such generation.');
    if (asked['if-match'] && asked['if-match'] !== this.commit) return problem(412, 'changed', 'The configuration has changed.');
    if (this.trial && asked.join !== this.trial.id) return problem(409, 'trial', `A change of ${this.trial.holder} is on trial.`);
    const changes = this.#differences(this.board.objects, generation.objects);
    if (asked.explain) return [200, { commit: this.commit, changes, providers: this.#effects(changes), refused: [] }];
    return this.#apply(clone(generation.objects), asked, user, changes, 'rolled back');
  }

  #stream(response) {
    response.writeHead(200, { 'Content-Type': 'text/event-stream', 'Cache-Control': 'no-store' });
    this.#streams.add(response);
    response.on('close', () => this.#streams.delete(response));
    response.write(event('hello', { commit: this.commit, number: this.number }));
    response.write(event('trial', this.#trialNow()));
    return undefined;
  }

  /** As when somebody else has changed something. */
  tell() {
    this.#commit('root', 'set system hostname=ap1', 'done', 1);
  }

  #say(name, data, id) {
    for (const stream of this.#streams) stream.write(event(name, data, id));
  }
}

const event = (name, data, id) => `${id ? `id: ${id}\n` : ''}event: ${name}\ndata: ${JSON.stringify(data)}\n\n`;

function problem(status, type, detail, { errors, headers } = {}) {
  return [status, { type: `urn:vorn:${type}`, title: type, status, detail, ...(errors ? { errors } : {}) }, headers];
}
