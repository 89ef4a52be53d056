// The page in a browser: node --test page.test.mjs, beside page.html (the page without data). With
// KMHASH_PROGRAM and KMHASH_MEDIA in the environment the command makes a page too.
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {
  copyFileSync, existsSync, mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync,
  writeFileSync,
} from 'node:fs';
import {createRequire} from 'node:module';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {after, before, test} from 'node:test';
import puppeteer from 'puppeteer-core';
import {madeUpData, oddNames, pageWith, picture} from './madeUp.mjs';

const template = readFileSync('page.html', 'utf8');
const axe = readFileSync(createRequire(import.meta.url).resolve('axe-core'), 'utf8');
const folder = mkdtempSync(join(tmpdir(), 'kmhash page '));
let browser;
let page;
let faults;

before(async () => {
  const executablePath = process.env.CHROMIUM ?? '/usr/bin/chromium';
  browser = await puppeteer.launch({executablePath, args: ['--no-sandbox', '--disable-gpu']});
});

after(async () => {
  await browser?.close();
  rmSync(folder, {recursive: true});
});

// Opens a page anew; gives the milliseconds until its first group is there.
async function open(html, media = {}) {
  writeFileSync(join(folder, 'page.html'), html);
  await page?.close();
  page = await browser.newPage();
  faults = [];
  page.on('console', (message) => {
    if (!message.text().includes('ERR_FILE_NOT_FOUND')) faults.push(message.text());
  });
  page.on('pageerror', (error) => faults.push(error.message));
  page.on('request', (request) => {
    if (!/^(file|data|blob):/.test(request.url())) faults.push(request.url());
  });
  await page.setViewport({width: media.width ?? 1280, height: media.height ?? 900});
  await page.emulateMediaFeatures([{name: 'prefers-color-scheme', value: media.scheme ?? 'light'}]);
  const client = await page.createCDPSession();
  await client.send('Page.setDownloadBehavior', {behavior: 'allow', downloadPath: folder});
  const begin = performance.now();
  await page.goto(`file://${folder}/page.html`);
  await page.waitForSelector('.group, #none:not([hidden])');
  return performance.now() - begin;
}

const openMadeUp = (options = {}, media = {}) =>
  open(pageWith(template, madeUpData({groups: 60, pictures: 8, ...options})), media);
const textOf = (selector) => page.$eval(selector, (element) => element.textContent);
const countOf = async (selector) => (await page.$$(selector)).length;

// Of a path as the data have it.
const bytesOf = (path) => Buffer.concat([...path].map((c) =>
  (/[\udc80-\udcff]/u.test(c) ? Buffer.from([c.codePointAt(0) & 0xff]) : Buffer.from(c))));

// What the page saves in a form, as bytes.
async function saved(form, name, to) {
  const path = join(folder, name);
  rmSync(path, {force: true});
  await page.click('#export');
  await page.click(`input[value="${form}"]`);
  if (form === 'script') await page.$eval('#to', (element) => { element.value = ''; });
  if (form === 'script') await page.type('#to', to);
  const isRefused = await page.$eval('#save', (element) => element.disabled);
  if (!isRefused) await page.click('#save');
  for (let i = 0; i < 100 && !isRefused && !existsSync(path); ++i) {
    await new Promise((resolve) => setTimeout(resolve, 50));
  }
  await page.keyboard.press('Escape');
  return isRefused ? null : readFileSync(path);
}

test('overview, search, filters and order', async () => {
  const data = madeUpData({groups: 60, pictures: 8});
  await openMadeUp();
  assert.match(await textOf('#figures'), /Files104,857.*Groups of duplicates60.*6 findings/);
  assert.equal(await countOf('.columns rect'), 60);
  assert.match(await textOf('#verification'), /rotten2/);
  const shownFor = async (selector, value) => {
    await page.select(selector, value);
    const shown = Number.parseInt(await textOf('#count'), 10);
    await page.select(selector, '');
    return shown;
  };
  const where = (isShown) => data.groups.filter(isShown).length;
  assert.equal(await shownFor('#format', 'JPEG'), where((group) => group.format === 'JPEG'));
  assert.equal(await shownFor('#likeness', 'header'), where((group) => group.hashes.length > 1));
  assert.equal(await shownFor('#likeness', 'exact'), where(({files}) =>
    files.some((a) => files.some((b) => a !== b && a.bytes === b.bytes && a.hash === b.hash))));
  await page.type('#search', 'berlin #1');
  assert.equal(await textOf('#count'), `1 group, ${(await textOf('.frees')).slice(6)}`);
  await page.$eval('#search', (element) => { element.value = ''; });
  await page.select('#sort', 'date');
  assert.match(await textOf('.group .about'), new RegExp(`^IMG_000(59|5[0-9])|${oddNames[7]}`));
  await page.click('#folders button');
  assert.match(await textOf('#folder'), /×$/);
  assert.deepEqual(faults, []);
});

test('choice and export', async () => {
  const data = madeUpData({groups: 60, pictures: 8});
  await openMadeUp();
  await page.click('#apply');
  const going = data.groups.flatMap((group) =>
    group.files.filter((file) => !file.keep && !file.reference));
  assert.ok((await textOf('#chosen')).startsWith(`${going.length} files to go`));
  const expected = Buffer.concat(going.flatMap((file) => [bytesOf(file.path), Buffer.from([0])]));
  assert.deepEqual(await saved('zero', 'duplicates.list0'), expected);
  assert.equal(await saved('lines', 'duplicates.txt'), null); // a name holds a newline
  const script = await saved('script', 'duplicates.sh', "/tmp/it's there");
  const verbs = 'keep() { :; }; move() { printf "%s\\0" "$4"; }\n';
  writeFileSync(join(folder, 'words.sh'), Buffer.concat([Buffer.from(verbs), script]));
  assert.deepEqual(execFileSync('sh', [join(folder, 'words.sh')], {cwd: folder}), expected);
  assert.ok(script.includes("to='/tmp/it'\\''s there'\n"));
  assert.ok(!existsSync(join(folder, 'harmed')));
  await page.click('#export');
  await page.type('#to', '\n'); // saves again and closes nothing
  assert.match(await textOf('#saved'), /duplicates.sh/);
  await page.keyboard.press('Escape');
  await page.click('#clear');
  const boxes = await page.$$('.group:first-of-type .choose input');
  for (const box of boxes.slice(0, 3)) await box.click();
  const two = data.groups.find((group) => group.files.length === 2);
  await page.type('#search', two.files[0].path.slice(-14));
  for (const box of await page.$$('.choose input')) await box.click();
  assert.equal(await countOf('.choose input:checked'), 1); // one always stays
});

test('names and text do no harm, links lead to the files', async () => {
  const real = join(folder, 'real');
  mkdirSync(`${real}/</script><script>window.harmed=2<`, {recursive: true});
  const data = madeUpData({groups: oddNames.length, pictures: 0});
  data.groups.forEach((group, i) => {
    group.files = [group.files[0], {...group.files[1], path: '/nowhere.jpg'}];
    group.files[0].path = `${real}/${oddNames[i]}`;
    writeFileSync(bytesOf(group.files[0].path), picture(Math.random));
  });
  await open(pageWith(template, data), {height: 4000});
  await page.waitForFunction((count) => [...document.querySelectorAll('.look img')]
    .filter((image) => image.naturalWidth > 0).length === count, {timeout: 5000}, oddNames.length);
  assert.equal(await page.evaluate(() => window.harmed), undefined);
  assert.equal(await countOf('.about img, .about script'), 0);
  assert.ok(!(await textOf('.groups')).includes('\u202e'));
  const isStopped = await page.evaluate(async () => {
    document.body.insertAdjacentHTML('beforeend', '<img src="data:," onerror="window.harmed=3">');
    const script = document.createElement('script');
    script.text = 'window.harmed=4';
    document.body.append(script);
    const answer = await fetch('http://127.0.0.1:9/').catch((error) => error);
    await new Promise((resolve) => setTimeout(resolve, 100));
    return window.harmed === undefined && answer instanceof TypeError;
  });
  assert.ok(isStopped);
  for (const rule of ['connect-src', 'script-src']) {
    const isRefused = faults.some((fault) => fault.includes('violates') && fault.includes(rule));
    assert.ok(isRefused, `${rule}: ${faults}`);
  }
});

test('the real command over real files', {skip: !process.env.KMHASH_PROGRAM}, async () => {
  const [pictures, gone] = [join(folder, 'pictures'), join(folder, "it's gone")];
  mkdirSync(`${pictures}/copies/</script><script>window.harmed=2<`, {recursive: true});
  const media = process.env.KMHASH_MEDIA;
  for (const name of readdirSync(media).filter((each) => /^(jpeg|png|mp4)/.test(each))) {
    const file = join(media, name);
    copyFileSync(file, join(pictures, name));
    copyFileSync(file, Buffer.from(`${pictures}/copies/\xff ${name}`, 'latin1'));
  }
  copyFileSync(join(pictures, 'jpeg-grey.jpg'), `${pictures}/copies/${oddNames[1]}`);
  const kmhash = (...words) => execFileSync(process.env.KMHASH_PROGRAM, words,
    {cwd: folder, stdio: ['ignore', 'pipe', 'ignore']});
  kmhash('scan', '--catalog', 'c', '--whole', 'pictures');
  kmhash('report', '--catalog', 'c', '--keep', 'path:*/pictures/[!/]*', '--thumbnails', 'always',
    '--output', 'made.html');
  await open(readFileSync(join(folder, 'made.html'), 'utf8'));
  await page.waitForFunction(() => document.querySelector('.look img')?.naturalWidth > 0);
  await page.click('#apply');
  const script = await saved('script', 'duplicates.sh', gone);
  const toGo = kmhash('duplicates', '--catalog', 'c', '--keep', 'path:*/pictures/[!/]*', '--zero');
  const count = (bytes) => bytes.toString('latin1').split('\0').length - 1;
  const environment = {...process.env, KMHASH: process.env.KMHASH_PROGRAM};
  const told = execFileSync('sh', {input: script, env: environment});
  assert.match(told.toString(), new RegExp(`^${count(toGo)} files are moved`));
  assert.equal(count(execFileSync('find', [gone, '-type', 'f', '-print0'])), count(toGo));
  assert.equal(await page.evaluate(() => window.harmed), undefined);
  assert.deepEqual(faults, []);
});

test('5,000 groups open in under two seconds', async (run) => {
  const html = pageWith(template, madeUpData({groups: 5000, pictures: 2000}));
  const times = [await open(html), await open(html), await open(html)];
  assert.ok(Math.min(...times) < 2000, `${times}`);
  assert.ok(await countOf('.tile') < 300);
  await page.evaluate(() => window.scrollTo(0, document.body.scrollHeight));
  await page.waitForSelector('[aria-posinset="5000"]');
  await page.keyboard.press('k');
  assert.ok(await countOf('.tile') < 300);
  run.diagnostic(`first group after ${times.map(Math.round).join(', ')} ms, ${html.length} bytes`);
});

test('keyboard', async () => {
  await openMadeUp();
  for (const key of ['j', 'j', 'ArrowRight', 'ArrowRight', 'x']) await page.keyboard.press(key);
  await page.waitForSelector('.group[aria-posinset="2"] .tile:nth-child(2).goes', {timeout: 5000});
  await page.keyboard.press('Enter');
  assert.match(await textOf('#viewer-title'), /./);
  const first = await textOf('#viewer tr[aria-current] .path');
  await page.keyboard.press('ArrowRight');
  assert.notEqual(await textOf('#viewer tr[aria-current] .path'), first);
  await page.keyboard.press('Escape');
  await page.keyboard.press('x');
  await page.waitForSelector('.group[aria-posinset="2"] .tile:nth-child(2):not(.goes)');
  await page.$eval('.more', (button) => button.click());
  await page.setViewport({width: 800, height: 900});
  await new Promise((resolve) => setTimeout(resolve, 300));
  assert.ok(await page.$eval(':focus', (element) => element.matches('.look'))); // still on a copy
  for (const key of ['r', '/', 'q']) await page.keyboard.press(key);
  assert.equal(await page.$eval('#search', (element) => element.value), 'q');
});

test('accessible in light, dark and on a phone', async () => {
  for (const media of [{}, {scheme: 'dark'}, {width: 390}]) {
    await openMadeUp({}, media);
    await page.click('#apply');
    for (const opener of ['', '.look', '#export']) {
      if (opener) await page.click(opener);
      await page.evaluate(axe);
      const found = await page.evaluate(() => window.axe.run(document));
      const told = found.violations.map(({id, nodes}) =>
        `${id}: ${nodes.map((node) => node.html + node.failureSummary)}`);
      assert.deepEqual(told, [], `${JSON.stringify(media)} ${opener}`);
      if (opener) await page.keyboard.press('Escape');
    }
  }
});
