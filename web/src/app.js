// The state of the page: who is logged in, what the device is, what has been edited, what is on trial.
// Whoever changes it says so with changed(), and everything is drawn again from it.
import { Api, Lost, Problem } from './api.js';
import { Drafts } from './model/drafts.js';
import { identified } from './model/identity.js';
import { remember, remembers } from './model/preferences.js';
import { Schema } from './model/schema.js';
import { t } from './model/texts.js';
import { Traffic } from './model/traffic.js';
import { Countdown } from './model/trial.js';

const askAgain = 2000;

// A change whose answer did not come may still be on its way.
const onTheWay = 20000;

// A stream that was refused or ended, because there are too many, is asked for again after so long.
const streamAgain = 30000;

export class App {
  api = new Api();
  user = null;
  schema = null;
  commit = '';
  status = null;
  drafts = new Drafts();
  errors = new Map();
  trial = null;
  lost = false;
  started = false;
  ended = false;
  said = '';
  message = null;
  version = 0;
  lists = new Map();
  traffic = new Traffic();
  #draw = () => {};
  #events = null;
  #soon = null;
  #round = 0;
  #lastUser = '';

  constructor() {
    this.api.onLoggedOut = () => this.#leave(true);
    this.api.onLost = () => this.#silent();
    this.api.onAnswer = () => this.#answered();
  }

  onChange(draw) {
    this.#draw = draw;
  }

  changed = () => this.#draw();

  /** Said to those who listen instead of looking, and shown where `message` is. */
  say(text) {
    this.said = text;
    this.changed();
  }

  tell(text, kind = 'good') {
    this.message = { text, kind, at: Date.now() };
    this.say(text);
  }

  /** On another page what was told is over; what is told on the way there is not. */
  moved() {
    this.#round += 1;
    if (this.message && Date.now() - this.message.at > 1000) this.message = null;
    this.changed();
  }

  async start() {
    try {
      // Who was logged in a moment ago is so most likely: nothing waits for the answer then.
      const rest = remembers() ? this.#device() : undefined;
      rest?.catch(() => {});
      await this.#enter(await this.api.session(), rest);
    } catch (error) {
      if (!(error instanceof Problem || error instanceof Lost)) throw error;
    }
    this.started = true;
    this.changed();
  }

  async logIn(user, password) {
    await this.#enter(await this.api.logIn(user, password));
    this.changed();
  }

  #device() {
    return Promise.all([this.api.get('/schema'), this.api.get('/status')]);
  }

  async #enter(session, asked = this.#device()) {
    const [schema, status] = await asked;
    this.schema = new Schema(schema);
    this.#learn(status);
    if (this.#lastUser !== session.user) this.drafts.clear();
    this.#lastUser = session.user;
    this.user = session.user;
    this.ended = false;
    remember(true);
    this.#listen();
  }

  async logOut() {
    try {
      await this.api.logOut();
    } finally {
      this.drafts.clear();
      this.#leave(false);
    }
  }

  #leave(ended) {
    this.#events?.close();
    this.#events = null;
    this.ended = ended && this.user !== null;
    this.user = null;
    remember(false);
    this.lists.clear();
    this.changed();
  }

  #learn(status) {
    this.status = status;
    this.commit = status.commit;
    this.#heard(status.trial);
  }

  /** Who does not even see how the configuration is saved is told of few things that are wrong. */
  seesHealth() {
    return this.schema.has('save');
  }

  get host() {
    return this.status?.device?.hostname || location.hostname;
  }

  /** The objects of a class as they were read last: { state, objects, reason }; reads them when they are old. */
  objects(className) {
    if (!this.lists.has(className)) this.load(className);
    const list = this.lists.get(className);
    list.round = this.#round;
    return list;
  }

  async load(className) {
    const list = this.lists.get(className) ?? { state: 'loading', objects: [] };
    this.lists.set(className, list);
    // What changes while an answer is under way may not be in it.
    list.isStale = list.asked;
    if (list.asked) return;
    list.asked = true;
    try {
      const answer = await this.api.objects(className);
      list.objects = this.identify(answer.objects);
      list.state = 'ready';
      list.commit = answer.commit;
    } catch (error) {
      list.state = error instanceof Problem && error.status === 404 ? 'missing' : list.state === 'ready' ? 'ready' : 'failed';
      list.reason = error.message;
    }
    list.asked = false;
    this.changed();
    if (list.isStale && this.lists.get(className) === list) this.load(className);
  }

  identify(objects) {
    return objects.filter((o) => this.schema.has(o.class)).map((o) => identified(this.schema.class(o.class), o));
  }

  async refresh() {
    clearTimeout(this.#soon);
    this.#soon = null;
    try {
      const status = await this.api.get('/status');
      // Who it is may do something else by now.
      if (status.schema !== this.schema.id) this.schema = new Schema(await this.api.get('/schema'));
      this.#learn(status);
      this.version += 1;
      // What the page does not show any more is read when it is shown again.
      for (const [name, list] of this.lists) if (list.round !== this.#round) this.lists.delete(name);
      await Promise.all([...this.lists.keys()].map((name) => this.load(name)));
    } catch (error) {
      if (!(error instanceof Problem || error instanceof Lost)) throw error;
    }
    this.changed();
  }

  /** Many events come at once: what they change is read once. */
  #refreshSoon() {
    this.#soon ??= setTimeout(() => this.refresh(), 150);
  }

  #listen() {
    this.#events?.close();
    const events = new EventSource('api/v1/events');
    this.#events = events;
    for (const name of ['change', 'state', 'reset']) events.addEventListener(name, () => this.#refreshSoon());
    events.addEventListener('trial', (event) => {
      this.#heard(JSON.parse(event.data));
      this.changed();
    });
    events.addEventListener('bye', () => this.#leave(true));
    events.addEventListener('later', () => this.#listenLater());
    events.addEventListener('open', () => this.#answered());
    events.addEventListener('error', () => {
      if (events !== this.#events) return;
      // One that the browser opens again was cut off; another one was refused, and the rest may be well.
      if (events.readyState !== EventSource.CLOSED) this.#silent();
      else this.#listenLater();
    });
  }

  /** The rest may be well. */
  #listenLater() {
    const events = this.#events;
    events.close();
    this.#refreshSoon();
    setTimeout(() => events === this.#events && this.#listen(), streamAgain);
  }

  /** What the device tells of its trial; ours stays known until it is known how it ended. */
  #heard(trial) {
    const pending = trial?.state === 'pending';
    if (pending) {
      const known = this.trial?.id === trial.id || this.trial?.isUnsure ? this.trial : {};
      this.trial = { ...known, ...trial, isUnsure: false, countdown: new Countdown(trial.remaining, Date.now()) };
      return;
    }
    if (!this.trial || (this.trial.isUnsure && Date.now() - this.trial.began < onTheWay)) return;
    const { ending } = this.trial;
    this.trial = null;
    if (ending) this.#tellEnding(ending);
    else this.#learnEnding();
    this.#refreshSoon();
  }

  #tellEnding(ending) {
    this.tell(t(`trial.${ending}`), ending === 'kept' ? 'good' : 'info');
  }

  /** Somebody else has ended it, or the time has. */
  async #learnEnding() {
    try {
      const { commits } = await this.api.get('/commits');
      this.#tellEnding(commits[0]?.result === 'confirmed' ? 'kept' : 'over');
    } catch {
      this.#tellEnding('none');
    }
  }

  /** A change of ours is on trial from now on. */
  tried(answer, more) {
    const seconds = answer.trial['deadline-seconds'];
    this.trial = {
      state: 'pending',
      remaining: seconds,
      countdown: new Countdown(seconds, Date.now()),
      ...answer.trial,
      ...more,
      isMine: true,
      began: Date.now(),
      notApplied: answer['not-applied'] ?? [],
    };
    this.drafts.clear();
    this.errors.clear();
    this.#refreshSoon();
    this.changed();
  }

  async endTrial(how) {
    const { id } = this.trial;
    this.trial.ending = how === 'confirm' ? 'kept' : 'reverted';
    try {
      await this.api.post(`/trial/${how}`, { id });
    } catch (error) {
      if (this.trial) this.trial.ending = null;
      throw error;
    }
    this.#heard({ state: 'none' });
    this.changed();
  }

  /** A change that was applied without a trial. */
  applied(answer) {
    this.drafts.clear();
    this.errors.clear();
    this.tell(answer.saved ? t('done.applied') : t('done.unsaved', { reason: answer.detail ?? '' }), answer.saved ? 'good' : 'bad');
    this.#refreshSoon();
  }

  /** What a further change says while one of ours is on trial. */
  joining() {
    return this.trial?.isMine && this.trial.id ? { join: this.trial.id } : {};
  }

  /** Reads what the drafts are about, and tells where somebody else was faster. */
  async conflicts() {
    const { drafts, schema } = this;
    const classes = [...new Set(drafts.list.map((d) => d.class))];
    const answers = new Map(await Promise.all(classes.map(async (name) => [name, await this.#objectsIfAny(name)])));
    const found = new Map([...answers.values()].flatMap((objects) => this.identify(objects ?? [])).map((o) => [o.key, o]));
    const isSetting = (className, property) => schema.property(className, property)?.writable;
    return drafts.conflicts(({ key }) => found.get(key), isSetting, (className) => answers.get(className) !== null);
  }

  /** Null for a class that there is none of any more, for whoever is logged in. */
  async #objectsIfAny(className) {
    try {
      return (await this.api.objects(className)).objects;
    } catch (error) {
      if (error instanceof Problem && error.status === 404) return null;
      throw error;
    }
  }

  /** Keeps what the device has against single values, so that it stands at their fields. */
  noteErrors(errors) {
    this.errors.clear();
    const { list } = this.drafts;
    for (const error of errors) {
      const draft = list[error.change] ?? list.find((d) => d.class === error.class && (d.name ?? '') === (error.name ?? ''));
      if (draft && error.property) this.errors.set(`${draft.key} ${error.property}`, error.detail ?? error.reason);
    }
  }

  /**
   * Asks after the trial while somebody looks at it: a cable that was pulled somewhere says nothing by itself.
   * When the device has moved and is silent here, the page follows. Returns what ends the asking.
   */
  watchTrial() {
    let isOver = false;
    let timer = null;
    const ask = async () => {
      try {
        const trial = await this.api.get('/trial', askAgain);
        if (!isOver) this.#heard(trial);
        this.changed();
      } catch (error) {
        if (error instanceof Lost && !isOver) this.#follow();
      }
      if (!isOver) timer = setTimeout(ask, askAgain);
    };
    timer = setTimeout(ask, askAgain);
    return () => {
      isOver = true;
      clearTimeout(timer);
    };
  }

  /** Once only: a second try would end the first, which may take its time. */
  #follow() {
    const { trial } = this;
    if (!trial?.place || trial.isFollowed) return;
    trial.isFollowed = true;
    location.assign(trial.place);
  }

  /** Keeps asking while the device is silent; the trial tells whether it can be taken for lost. */
  #silent() {
    if (this.lost || !this.user) return;
    this.lost = true;
    this.changed();
    const ask = async () => {
      if (!this.lost) return;
      try {
        this.#learn(await this.api.get('/status'));
        this.#listen();
        this.#refreshSoon();
      } catch (error) {
        if (error instanceof Lost || error instanceof Problem) setTimeout(ask, askAgain);
        else throw error;
      }
    };
    setTimeout(ask, askAgain);
  }

  #answered() {
    if (!this.lost) return;
    this.lost = false;
    this.say(t('app.back'));
  }
}
