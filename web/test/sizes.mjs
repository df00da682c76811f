// What a browser loads at first: how much, and in how many requests. node test/sizes.mjs [FOLDER]
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { gzipSync } from 'node:zlib';

const folder = process.argv[2] ?? fileURLToPath(new URL('../../build/release/web/page', import.meta.url));
const most = { files: 5, bytes: 60000 };

const sizes = readdirSync(folder).map((file) => [file, gzipSync(readFileSync(join(folder, file))).length]);
const bytes = sizes.reduce((sum, [, size]) => sum + size, 0);
for (const [file, size] of sizes) console.log(`${String(size).padStart(7)}  ${file}`);
console.log(`${String(bytes).padStart(7)}  bytes compressed, in ${sizes.length} files`);
// One of the six requests asks whether somebody is logged in.
if (bytes > most.bytes || sizes.length > most.files) {
  console.error(`That is more than ${most.bytes} bytes or ${most.files} files.`);
  process.exit(1);
}
