// Boards for the fake gate: an access point like one of the reference plugins, and random ones.

const words = (...all) => ({ kind: 'words', words: all });
const number = (from, to, step = 1) => ({ kind: 'number', from, to, step });
const text = (min, max) => ({ kind: 'text', min, max });
const nameOf = (c, list) => ({ kind: 'name', class: c, ...(list ? { list } : {}) });

const property = (name, label, accepts = [], more = {}) => ({
  name, label, help: '', unit: '', example: '', group: '', order: 0, readable: true, writable: true, persistent: true,
  required: false, inherited: false, secret: false, references: '', valid: '', accepts: [accepts].flat(),
  changeable: more.writable ?? true, insertable: more.writable ?? true, ...more,
});
const fact = (name, label, more = {}) => property(name, label, [], { writable: false, persistent: false, ...more });
const klass = (name, label, properties, more = {}) => ({
  name, type: 'unique-named', persistent: true, abstract: false, superclass: '', label, help: '', group: '', order: 0, insertable: true, deletable: true,
  properties, ...more,
});

const ofInterface = [
  property('mtu', 'MTU', number(68, 9000), { unit: 'bytes', help: 'The largest packet that the link carries.', example: '1500' }),
  property('status', 'Switched', words('up', 'down')),
  fact('state', 'State'), fact('rx-bytes', 'Received', { unit: 'bytes' }), fact('tx-bytes', 'Sent', { unit: 'bytes' }),
];
const ofAddress = [
  property('interface', 'Interface', nameOf('interface'), { required: true, help: 'On which link the device has the address.' }),
  fact('current', 'Address now'), fact('state', 'State'),
];

const classes = [
  klass('system', 'Device', [
    property('hostname', 'Host name', { kind: 'domain-label' }, { help: 'What the device calls itself.', example: 'ap1' }),
    property('contact', 'Contact', text(0, 1000), { group: 'For people', help: 'Whom to call.' }),
    property('location', 'Place', text(0, 1000), { group: 'For people' }),
    fact('uptime', 'Running for', { unit: 's' }), fact('load', 'Load'), fact('memory-total', 'Memory', { unit: 'KiB' }),
    fact('memory-available', 'Memory free', { unit: 'KiB' }), fact('state', 'State'),
  ], { type: 'singleton', group: 'Device', help: 'Who and where the device is.' }),
  klass('interface', 'Link', ofInterface, { abstract: true, group: 'Network' }),
  klass('ethernet', 'Ethernet port', ofInterface, { superclass: 'interface', group: 'Network', help: 'A port of the device.' }),
  klass('bridge', 'Bridge', [...ofInterface, property('members', 'Members', nameOf('interface', true), { help: 'Links that are one network.' })],
    { superclass: 'interface', group: 'Network', help: 'Several links as one.' }),
  klass('address', 'Address', ofAddress, { abstract: true, group: 'Network' }),
  klass('static-address', 'Fixed address', [
    property('address', 'Address', { kind: 'ip' }, { required: true, example: '192.168.1.1', order: -2 }),
    property('prefix', 'Prefix length', number(1, 32), { required: true, unit: 'bits', order: -1, help: 'How much of the address is the network.' }),
    ...ofAddress,
  ], { superclass: 'address', group: 'Network', help: 'An address that the device has in any case.' }),
  klass('dhcp-address', 'Address by DHCP', [...ofAddress, property('hostname', 'Name to tell', { kind: 'domain-label' })],
    { superclass: 'address', group: 'Network', help: 'An address that a server gives.' }),
  klass('route', 'Route', [
    property('destination', 'To', { kind: 'word' }, { required: true, example: 'default', valid: 'default|<network>' }),
    property('gateway', 'By way of', { kind: 'ip' }), property('metric', 'Metric', number(0, 65535)), fact('state', 'State'),
  ], { group: 'Network' }),
  klass('resolver', 'Name servers', [property('servers', 'Servers', { kind: 'ip', list: true }), fact('state', 'State')],
    { type: 'singleton', group: 'Network', help: 'Who is asked for names.' }),
  klass('radio', 'Radio', [
    property('mode', 'Mode', words('a', 'b', 'g'), { required: true, help: 'Which band, and how.' }),
    property('channel', 'Channel', number(1, 165), { required: true }),
    property('power', 'Power', number(1, 30), { unit: 'dBm' }), property('status', 'Switched', words('up', 'down')), fact('state', 'State'),
  ], { group: 'Wireless' }),
  klass('wireless-network', 'Wireless network', [
    property('radio', 'Radio', nameOf('radio'), { required: true }),
    property('ssid', 'Name on the air', { kind: 'ssid' }, { required: true, help: 'What people see in their list of networks.' }),
    property('security', 'Security', words('none', 'wpa2-psk', 'wpa3-sae'), { required: true }),
    property('key', 'Password', text(8, 63), { secret: true, help: 'Whoever has it may join.' }),
    property('hidden', 'Hidden', words('on', 'off')), property('bridge', 'Bridge', nameOf('bridge')), fact('state', 'State'),
  ], { group: 'Wireless' }),
  klass('access-list', 'Access list', [property('mac', 'Station', { kind: 'mac' })], { type: 'group-named', group: 'Wireless' }),
  klass('station', 'Station', ['mac', 'network', 'signal', 'rx-rate', 'tx-rate', 'connected', 'unknown'].map((name) => fact(name, '')),
    { type: 'anonymous', persistent: false, group: 'Wireless' }),
  klass('history', 'History', [property('rollback', 'Go back', { kind: 'word' }, { persistent: false })], { type: 'singleton', persistent: false, group: 'Device' }),
  klass('trial', 'Trial', ['seconds', 'join', 'confirm', 'revert'].map((name) => property(name, '', text(0, 16), { persistent: false })),
    { type: 'singleton', persistent: false, group: 'Device' }),
];

const address = (name, link, own) => ({ class: 'static-address', name, properties: { interface: link, address: own, prefix: '24', current: `${own}/24`, state: 'applied' } });

export function accessPoint(lanAddress = '192.168.1.1') {
  let ticks = 0;
  return {
    schema: { id: 'access-point', classes },
    objects: [
      { class: 'system', properties: { hostname: 'ap1', uptime: '278130', load: '0.12 0.08 0.05', 'memory-total': '125000', 'memory-available': '81230', state: 'applied' } },
      { class: 'ethernet', name: 'eth0', properties: { mtu: '1500', status: 'up', state: 'applied', 'rx-bytes': '48230112', 'tx-bytes': '9120334' } },
      { class: 'ethernet', name: 'eth1', properties: { status: 'up', state: 'applied', 'rx-bytes': '1203', 'tx-bytes': '88' } },
      { class: 'ethernet', name: 'eth7', properties: { status: 'up', state: 'waiting for eth7' } },
      { class: 'bridge', name: 'br-lan', properties: { members: 'eth0 eth1', status: 'up', state: 'applied', 'rx-bytes': '923001', 'tx-bytes': '5510023' } },
      address('lan', 'br-lan', lanAddress), address('guests', 'br-lan', '10.9.0.1'),
      { class: 'route', name: 'out', properties: { destination: 'default', gateway: '192.168.1.254', state: 'applied' } },
      { class: 'resolver', properties: { servers: '192.168.1.254', state: 'applied' } },
      { class: 'radio', name: 'radio0', properties: { mode: 'g', channel: '6', status: 'up', state: 'running' } },
      { class: 'wireless-network', name: 'home', properties: { radio: 'radio0', ssid: 'Our attic', security: 'wpa2-psk', key: 'old key', state: 'running' } },
      { class: 'wireless-network', name: 'visitors', properties: { radio: 'radio0', ssid: 'Visitors', security: 'none', state: 'running' } },
      { class: 'access-list', name: 'kids', properties: { mac: '02:00:00:00:00:01' } },
      { class: 'access-list', name: 'kids', properties: { mac: '02:00:00:00:00:02' } },
      station('02:5e:10:00:00:01', '-48', '3720'), station('02:5e:10:00:00:02', '-71', '190'), station('02:5e:10:00:00:03', '-88', '12'),
    ],
    judge: (c, name, value) => (name === 'address' && value.endsWith('.255') ? `Value "${value}" is not valid for property "address" of class "${c}": it is a broadcast address` : null),
    effects: (changes) => [
      ...(changes.some((c) => c.class === 'radio') ? [{ weight: 'interrupts', text: 'hostapd of radio0 starts anew: its 3 stations are disconnected for about a second' }] : []),
      ...(changes.some((c) => c.class === 'static-address') ? [{ weight: 'interrupts', text: 'an address is taken away: ip addr del' }, { weight: 'live', text: 'an address is set' }] : []),
      { weight: 'nothing', text: 'the configuration is saved' },
    ],
    tick: ({ objects }) => {
      ticks += 1;
      for (const { class: c, properties: p } of objects)
        if (['ethernet', 'bridge'].includes(c) && p['rx-bytes']) {
          p['rx-bytes'] = String(Number(p['rx-bytes']) + Math.round(90000 * (1.2 + Math.sin(ticks / 3))));
          p['tx-bytes'] = String(Number(p['tx-bytes']) + Math.round(30000 * (1.1 + Math.cos(ticks / 2))));
        }
    },
  };
}

function station(mac, signal, connected) {
  return { class: 'station', properties: { mac, network: 'home', signal, 'rx-rate': '130.0', 'tx-rate': '144.4', connected } };
}

/** The same board for somebody who may change nothing of it but what is named: "class property" for each. */
export function lockedBut(board, ...settings) {
  const classes = board.schema.classes.map((c) => ({
    ...c, insertable: false, deletable: false,
    properties: c.properties.map((p) => ({ ...p, changeable: settings.includes(`${c.name} ${p.name}`), insertable: false })),
  }));
  return { ...board, schema: { id: 'locked', classes } };
}

/** Numbers by chance that come again with the same seed. */
export function chance(seed) {
  let state = seed >>> 0 || 1;
  const next = () => {
    state ^= state << 13;
    state ^= state >>> 17;
    state ^= state << 5;
    return (state >>> 0) / 4294967296;
  };
  return { below: (n) => Math.floor(next() * n), one: (all) => all[Math.floor(next() * all.length)], odds: (p) => next() < p };
}

const odd = ['<b>bold</b>', '"quoted"', "it's", 'äöü ß', '数据', '🙂', 'a/b', '%2F', 'x'.repeat(60), '{count}', 'two words', '&amp;', '../up', '#'];

/** A board whose classes nobody has thought of: every type, every kind of value, odd names and texts. */
export function randomBoard(seed) {
  const random = chance(seed * 2654435761);
  const word = () => Array.from({ length: 3 + random.below(7) }, () => random.one([...'abcdefghijklmnopqrstuvwxyz'])).join('');
  const phrase = () => (random.odds(0.25) ? random.one(odd) : `${word()} ${word()} ${word()}`);
  const count = 1 + random.below(6);
  const made = Array.from({ length: count }, (unused, i) => `${word()}-${i}`);
  const kinds = [
    () => words(...Array.from({ length: 1 + random.below(5) }, word)),
    () => number(random.below(10), 10 + random.below(1e6), 1 + random.below(3)),
    () => text(random.below(3), 3 + random.below(1000)),
    () => nameOf(random.one(made), random.odds(0.4)),
    () => ({ kind: random.one(['ip', 'mac', 'domain-name', 'ip-or-domain-name', 'interface', 'ssid', 'word', 'phrase', 'from-tomorrow']), ...(random.odds(0.2) ? { list: true } : {}) }),
  ];
  const rights = (writable) => ({ writable, changeable: writable && random.odds(0.8), insertable: writable && random.odds(0.8) });
  const anyProperty = (unused, i) =>
    property(`${word()}-${i}`, random.odds(0.7) ? phrase() : '', Array.from({ length: random.below(3) }, () => random.one(kinds)()), {
      help: random.odds(0.5) ? phrase() : '', unit: random.odds(0.2) ? word() : '', example: random.odds(0.2) ? phrase() : '',
      group: random.odds(0.3) ? random.one(['One', 'Two', random.one(odd)]) : '', order: random.below(5), ...rights(random.odds(0.75)),
      readable: random.odds(0.95), required: random.odds(0.3), secret: random.odds(0.1), valid: random.odds(0.3) ? phrase() : '',
    });
  const all = made.map((name) =>
    klass(name, random.odds(0.7) ? phrase() : '', Array.from({ length: random.below(12) }, anyProperty), {
      type: random.one(['singleton', 'anonymous', 'unique-named', 'group-named']), persistent: random.odds(0.8),
      help: random.odds(0.5) ? phrase() : '', group: random.odds(0.5) ? random.one(['One', 'Two', 'Three']) : '', order: random.below(4),
      insertable: random.odds(0.9), deletable: random.odds(0.9),
    }),
  );
  const valueFor = (p) => {
    const a = random.one(p.accepts);
    if (random.odds(0.2)) return '';
    if (a?.kind === 'words') return random.one(a.words);
    return a?.kind === 'number' ? String(a.from) : phrase();
  };
  const objects = all.flatMap((c) => {
    const many = c.type === 'singleton' ? 1 : random.below(4);
    return Array.from({ length: many }, (unused, i) => ({
      class: c.name,
      ...(c.type === 'unique-named' ? { name: `${random.odds(0.3) ? random.one(odd) : word()}${i}` } : c.type === 'group-named' ? { name: word() } : {}),
      properties: Object.fromEntries(c.properties.map((p) => [p.name, valueFor(p)])),
    }));
  });
  return { schema: { id: `random-${seed}`, classes: all }, objects };
}
