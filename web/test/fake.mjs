// The page with a fake gate, to look at while it is written: node test/fake.mjs [PORT]
import { fileURLToPath } from 'node:url';
import { accessPoint } from './boards.mjs';
import { FakeGate } from './fake_gate.mjs';

const files = process.env.VORN_WEB ?? fileURLToPath(new URL('../../build/release/web/page', import.meta.url));
const gate = new FakeGate(accessPoint(), { files });
console.log(`${await gate.listen(Number(process.argv[2] ?? 8080))}  (any user, password "secret")`);
