// The document of the API, as a real device writes it, in the eyes of who else reads such documents. Started by
// web/test/board.
import assert from 'node:assert/strict';
import { request } from 'node:https';
import { test } from 'node:test';
import SwaggerParser from '@apidevtools/swagger-parser';

const { VORN_ADDRESS: address, VORN_USER: user, VORN_PASSWORD: password } = process.env;

/** The device has made its certificate itself. */
function ask(method, path, headers, body) {
  return new Promise((resolve, reject) => {
    const asked = request(`${address}/api/v1${path}`, { method, headers, rejectUnauthorized: false }, (answer) => {
      let text = '';
      answer.on('error', reject);
      answer.on('data', (piece) => { text += piece; });
      answer.on('end', () => resolve({ status: answer.statusCode, headers: answer.headers, json: JSON.parse(text) }));
    });
    asked.on('error', reject);
    asked.end(body);
  });
}

async function logIn() {
  const session = await ask('POST', '/session', { 'Content-Type': 'application/json' }, JSON.stringify({ user, password }));
  return { Cookie: session.headers['set-cookie'][0].split(';')[0] };
}

test('the document is valid OpenAPI with a path for each class', async () => {
  const headers = await logIn();
  const { json: document } = await ask('GET', '/openapi.json', headers);
  const paths = Object.keys(document.paths);
  assert.ok(paths.includes('/objects/static-address/{name}') && paths.length > 40, paths.join(' '));
  await SwaggerParser.validate(structuredClone(document));
  document.paths['/status'].get.responses['200'] = { $ref: '#/components/responses/nothing' };
  await assert.rejects(SwaggerParser.validate(document));
});

// Where nothing but what is in memory can be written: beyond 64 KiB the web server wants a file.
test('a long answer comes whole, each time', async () => {
  const headers = await logIn();
  for (let i = 0; i < 30; i += 1) {
    const { headers: told } = await ask('GET', '/openapi.json', headers);
    assert.ok(Number(told['content-length']) > 65536);
  }
});
