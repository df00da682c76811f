// What holds for the sources as a whole.
import assert from 'node:assert/strict';
import { readdirSync, readFileSync } from 'node:fs';
import test from 'node:test';
import { fileURLToPath } from 'node:url';
import { choose, pieces, t } from '../../src/model/texts.js';

const folder = fileURLToPath(new URL('../../src/', import.meta.url));
const read = (file) => readFileSync(folder + file, 'utf8');
const sources = readdirSync(folder, { recursive: true }).filter((file) => /\.jsx?$/.test(file));
const code = sources.map(read).join('\n');
const texts = (name) => JSON.parse(read(`texts/${name}.json`));
const places = (text) => [...JSON.stringify(text).matchAll(/\{\w+\}/g)].map(([place]) => place);

test('text never becomes markup or code', () => {
  assert.ok(sources.length > 15);
  for (const word of ['innerHTML', 'outerHTML', 'insertAdjacentHTML', 'dangerouslySetInnerHTML', 'document.write', 'eval(', 'new Function'])
    assert.ok(!code.includes(word), word);
});

test('nothing is asked of anybody else', () => {
  assert.deepEqual([...code.matchAll(/\bhttps?:\/\/\S+/g)].map(([url]) => url), []);
  assert.doesNotMatch(read('page.css'), /url\(|@import/);
  assert.doesNotMatch(read('index.html'), /https?:|<style|style=|onload|<script>/);
});

test('each language says the same things with the same values in them', () => {
  const [en, de] = ['en', 'de'].map(texts);
  assert.deepEqual(Object.keys(de), Object.keys(en));
  for (const key of Object.keys(en)) assert.deepEqual(new Set(places(de[key])), new Set(places(en[key])), key);
});

test('whatever the page says is a text of its languages', () => {
  const known = texts('en');
  const said = [...code.matchAll(/\b(?:t\(\s*'|Sentence of=")([\w.-]+)['"]/g)].map(([, key]) => key);
  assert.ok(said.length > 80);
  assert.deepEqual(said.filter((key) => !(key in known)), []);
});

test('no text is left that nobody says', () => {
  const begun = [...code.matchAll(/`([\w.-]+\.)\$\{/g)].map(([, start]) => start);
  const unsaid = Object.keys(texts('en')).filter((key) => !code.includes(`'${key}'`) && !code.includes(`"${key}"`) && !begun.some((start) => key.startsWith(start)));
  assert.deepEqual(unsaid, []);
});

test('a language is chosen by what the reader knows, and English else', () => {
  assert.equal(choose(['fr-FR', 'de-AT']), 'de');
  assert.equal(t('pending.count', { count: 1 }), 'Ein Objekt bearbeitet');
  assert.equal(choose(['fr']), 'en');
  assert.equal(t('pending.count', { count: 3 }), '3 objects edited');
});

test('a value in a sentence can be told from the words around it', () => {
  choose(['de']);
  assert.deepEqual(pieces('objects.addof', { label: 'Bridge {x}' }), [
    { text: 'Hinzufügen: ', isValue: false },
    { text: 'Bridge {x}', isValue: true },
  ]);
  choose(['en']);
});
