// Builds the page: node build.mjs [FOLDER]. Four files come out, and nothing of them is fetched from elsewhere.
import { build } from 'esbuild';
import { createHash } from 'node:crypto';
import { copyFile, mkdir, readFile, writeFile } from 'node:fs/promises';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';

const here = dirname(fileURLToPath(import.meta.url));
const out = resolve(process.argv[2] ?? join(here, '../build/release/web/page'));

await mkdir(out, { recursive: true });
await build({
  entryPoints: { app: join(here, 'src/main.jsx'), page: join(here, 'src/page.css') },
  outdir: out,
  bundle: true,
  minify: true,
  format: 'esm',
  target: ['chrome109', 'firefox115', 'safari16'],
  jsx: 'automatic',
  jsxImportSource: 'preact',
  legalComments: 'none',
  banner: { js: '/* With preact: Copyright (c) 2015-present Jason Miller, MIT licence. */' },
  logLevel: 'warning',
});
await copyFile(join(here, 'src/icon.svg'), join(out, 'icon.svg'));

// A browser may keep a file for long: what is another file has another address.
const digest = async (file) => createHash('sha256').update(await readFile(join(out, file))).digest('hex').slice(0, 8);
let page = await readFile(join(here, 'src/index.html'), 'utf8');
for (const file of ['app.js', 'page.css']) page = page.replace(`"${file}"`, `"${file}?${await digest(file)}"`);
await writeFile(join(out, 'index.html'), page);
