// The report in a real browser: it opens from disk, asks for nothing, shows what the build folder holds and does what its
// controls say. Needs TRQPREP, TRQ_SOURCE_DIR and puppeteer-core beside this file or in NODE_PATH; CHROMIUM names another
// browser than Debian's.
'use strict';
const assert = require('assert');
const {execFileSync} = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');
const {pathToFileURL} = require('url');
const zlib = require('zlib');
const puppeteer = require('puppeteer-core');

const TOOL = process.env.TRQPREP, SOURCE = process.env.TRQ_SOURCE_DIR;
const BROWSER = {
  executablePath: process.env.CHROMIUM || '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-dev-shm-usage', '--enable-unsafe-swiftshader'],
};
const work = fs.mkdtempSync(path.join(os.tmpdir(), 'trqprep-browser-'));
const example = name => path.join(SOURCE, 'examples', name);

function trqprep(...words) {
  return execFileSync(TOOL, words, {cwd: work, stdio: ['ignore', 'pipe', 'pipe'], maxBuffer: 1 << 28}).toString();
}
// Of a command that ends with exit 1: findings that are forced.
function forced(...words) {
  try {
    trqprep(...words);
  } catch (error) {
    assert.strictEqual(error.status, 1, String(error.stderr));
    return;
  }
  assert.fail('exit 0');
}

// --- meshes and reports, without the product's code -------------------------------------------------------------------

function stl(facets) {
  const bytes = Buffer.alloc(84 + 50 * facets.length);
  bytes.writeUInt32LE(facets.length, 80);
  facets.forEach((facet, i) => facet.flat().forEach((number, k) => bytes.writeFloatLE(number, 84 + 50 * i + 12 + 4 * k)));
  return bytes;
}
function facetsOf(file) {
  const bytes = fs.readFileSync(file), facets = [];
  for (let at = 84; at + 50 <= bytes.length; at += 50) {
    facets.push([0, 1, 2].map(c => [0, 1, 2].map(k => bytes.readFloatLE(at + 12 + 12 * c + 4 * k))));
  }
  return facets;
}
function box(size, open) {
  const corner = n => [n & 1, n >> 1 & 1, n >> 2 & 1].map(bit => bit * size);
  const sides = [[0, 2, 3, 1], [4, 5, 7, 6], [0, 1, 5, 4], [2, 6, 7, 3], [0, 4, 6, 2], [1, 3, 7, 5]];
  const facets = sides.flatMap(([a, b, c, d]) => [[a, b, c], [a, c, d]]).map(facet => facet.map(corner));
  return open ? facets.slice(0, -1) : facets;
}

function blockOf(html, id) {
  const found = new RegExp(`<script [^>]*id="${id}"[^>]*>([^<]*)</script>`).exec(html);
  assert(found, id);
  return found[1];
}
// As docs/report.md says it: bytes of seven bits, the lowest first.
function numbersOf(text) {
  const numbers = [];
  let number = 0n, shift = 0n;
  for (const byte of zlib.inflateSync(Buffer.from(text, 'base64'))) {
    number |= BigInt(byte & 127) << shift;
    shift += 7n;
    if (byte < 128) { numbers.push(Number(number)); number = 0n; shift = 0n; }
  }
  return numbers;
}
const unfold = n => n % 2 === 0 ? n / 2 : -(n + 1) / 2;
function decodeMesh(html, mesh) {
  const numbers = numbersOf(blockOf(html, mesh.block)), places = [], facets = [];
  for (let i = 0; i < mesh.vertices; ++i) places.push([0, 0, 0]);
  let at = 0;
  for (let axis = 0; axis < 3; ++axis) {
    let value = 0;
    for (const place of places) place[axis] = value += unfold(numbers[at++]);
  }
  let seen = 0;
  for (let i = 0; i < mesh.facets; ++i) {
    const facet = [];
    for (let k = 0; k < 3; ++k) {
      const back = numbers[at++];
      facet.push(seen - back);
      if (back === 0) ++seen;
    }
    facets.push(facet);
  }
  assert.strictEqual(at, numbers.length);
  assert.strictEqual(seen, mesh.vertices);
  return {places, facets};
}

// --- pages ------------------------------------------------------------------------------------------------------------

let browser;
const open = async (file, {scripts = true, from = browser, viewport = {width: 1280, height: 900}, media = []} = {}) => {
  const page = await from.newPage();
  page.wrong = [];
  page.on('console', message => { if (message.type() === 'error') page.wrong.push('console: ' + message.text()); });
  page.on('pageerror', error => page.wrong.push('page: ' + error.message));
  page.on('dialog', dialog => { page.wrong.push('dialog: ' + dialog.message()); dialog.dismiss(); });
  const url = pathToFileURL(path.join(work, file)).href;
  page.on('request', request => {
    if (request.url() !== url && !request.url().startsWith('data:')) page.wrong.push('request: ' + request.url());
  });
  await page.setJavaScriptEnabled(scripts);
  await page.setViewport(viewport);
  if (media.length > 0) await page.emulateMediaFeatures(media);
  await page.evaluateOnNewDocument(() => {
    window.shown = [];
    document.addEventListener('ready', event => window.shown.push(event.detail), true);
  });
  await page.goto(url);
  return page;
};
const close = async page => {
  assert.deepStrictEqual(page.wrong, []);
  await page.close();
};
const ready = page => page.waitForSelector('figure.view[data-ready]', {timeout: 60000});

// How many pixels of the canvas have which kind of colour; waits until what was asked for is drawn.
const look = async page => {
  await page.evaluate(() => new Promise(done => requestAnimationFrame(() => requestAnimationFrame(done))));
  return page.evaluate(() => {
    const canvas = document.querySelector('figure.view canvas'), flat = document.createElement('canvas');
    [flat.width, flat.height] = [canvas.width, canvas.height];
    const pen = flat.getContext('2d');
    pen.drawImage(canvas, 0, 0);
    const {data} = pen.getImageData(0, 0, flat.width, flat.height);
    const seen = {empty: 0, blue: 0, orange: 0, red: 0, inside: 0, colours: 0, sum: 0, orangeAt: [0, 0]};
    const colours = new Set();
    for (let i = 0; i < data.length; i += 4) {
      const [r, g, b, a] = data.subarray(i, i + 4);
      colours.add(r << 16 | g << 8 | b);
      seen.sum = (seen.sum * 31 + r + 7 * g + 13 * b + a) % 1000000007;
      if (a === 0) ++seen.empty;
      else if (r === 0xc9 && g === 0x71 && b === 0x4a) ++seen.inside;
      else if (b > r * 1.2 && b >= g) ++seen.blue;
      else if (r > 2.2 * b && g > 1.5 * b) {
        ++seen.orange;
        seen.orangeAt[0] += i / 4 % flat.width;
        seen.orangeAt[1] += Math.floor(i / 4 / flat.width);
      } else if (r > 2.2 * g && r > 2.2 * b) ++seen.red;
    }
    seen.colours = colours.size;
    const scale = canvas.clientWidth / canvas.width;
    seen.orangeAt = seen.orangeAt.map(x => seen.orange ? x / seen.orange * scale : 0);
    return seen;
  });
};
const row = (page, n) => page.$(`#s1-piece-${n}`);
const chosen = page => page.$$eval('.pieces tr.chosen', rows => rows.map(r => +r.dataset.piece + 1));
const pick = async (page, n) => (await (await row(page, n)).$('[data-pick]')).click();

const tests = {
  async 'the view shows the plate, and asks for nothing'() {
    const page = await open('plate/report.html');
    await ready(page);
    const seen = await look(page);
    assert(seen.blue > 20000 && seen.colours > 100, JSON.stringify(seen));
    assert.strictEqual(seen.orange, 0);
    assert.strictEqual(await page.$eval('h1', h => h.textContent), 'Plate of 9 pieces');
    assert.strictEqual((await page.$$('.pieces tbody tr')).length, 9);
    assert(fs.statSync(path.join(work, 'plate/report.html')).size < 2000000);
    await close(page);
  },

  async 'the page refuses scripts that are not its own'() {
    const html = fs.readFileSync(path.join(work, 'plate/report.html'), 'utf8');
    const policy = /http-equiv="Content-Security-Policy" content="([^"]*)"/.exec(html)[1];
    assert.match(policy, /^default-src 'none'; script-src 'sha256-[^']{44}' 'sha256-[^']{44}'; style-src 'unsafe-inline'; img-src data:$/);
    fs.writeFileSync(path.join(work, 'more.html'), html.replace('</body>', '<script>window.stolen = 1</script></body>'));
    const page = await open('more.html');
    assert.strictEqual(await page.evaluate(() => window.stolen), undefined);
    assert.match(page.wrong.join(), /Content Security Policy/);
    page.wrong = [];
    await close(page);
  },

  async 'meshes are those of the parts, to a step of 65535 of their box'() {
    const html = fs.readFileSync(path.join(work, 'plate/report.html'), 'utf8');
    const scene = JSON.parse(blockOf(html, 's1-scene'));
    const page = await open('plate/report.html');
    await ready(page);
    const names = ['bracket', 'spur_gear', 'rook'];
    assert.strictEqual(scene.meshes.length, names.length);
    for (const [i, mesh] of scene.meshes.entries()) {
      const {places, facets} = decodeMesh(html, mesh);
      const expected = facetsOf(example(`parts/${names[i]}.stl`)).map(facet => facet.map(
          corner => corner.map((x, k) => Math.round((x - mesh.min[k]) / mesh.size[k] * 65535))));
      const key = facet => {
        const corners = facet.map(c => c.join());
        const first = corners.indexOf([...corners].sort()[0]);
        return [0, 1, 2].map(k => corners[(first + k) % 3]).join(' ');
      };
      const flat = facet => new Set(facet.map(c => c.join())).size < 3;
      assert.deepStrictEqual(facets.map(facet => key(facet.map(v => places[v]))).sort(),
                             expected.filter(facet => !flat(facet)).map(key).sort());
      const shown = await page.evaluate(n => {
        const {pieces, data} = window.shown[0];
        const {geometry} = pieces[data.pieces.findIndex(piece => piece.mesh === n)];
        return {positions: [...geometry.attributes.position.array], index: [...geometry.index.array]};
      }, i);
      assert.deepStrictEqual(shown.positions, places.flat());
      assert.deepStrictEqual(shown.index, facets.flat());
    }
    await close(page);
  },

  async 'pieces stand where plate.stl has them'() {
    const page = await open('plate/report.html');
    await ready(page);
    const boxes = await page.evaluate(() => window.shown[0].pieces.map(mesh => {
      const low = [Infinity, Infinity, Infinity], high = [-Infinity, -Infinity, -Infinity];
      const {array} = mesh.geometry.attributes.position, e = mesh.matrix.elements;
      for (let i = 0; i < array.length; i += 3) {
        for (let k = 0; k < 3; ++k) {
          const x = (e[k] * array[i] + e[4 + k] * array[i + 1] + e[8 + k] * array[i + 2]) / 65535 + e[12 + k];
          low[k] = Math.min(low[k], x);
          high[k] = Math.max(high[k], x);
        }
      }
      return [low, high];
    }));
    const facets = facetsOf(path.join(work, 'plate/plate.stl'));
    const counts = [868, 2140, 2140, 2140, 2140, 2140, 2140, 12936, 12936];
    for (const [i, [low, high]] of boxes.entries()) {
      const corners = facets.splice(0, counts[i]).flat();
      for (let k = 0; k < 3; ++k) {
        assert(Math.abs(Math.min(...corners.map(c => c[k])) - low[k]) < 0.002, `${i} ${k}`);
        assert(Math.abs(Math.max(...corners.map(c => c[k])) - high[k]) < 0.002, `${i} ${k}`);
      }
    }
    assert.strictEqual(facets.length, 0);
    await close(page);
  },

  async 'a row chooses its piece, and a click into the view the row'() {
    const page = await open('plate/report.html');
    await ready(page);
    const before = await look(page);
    for (const n of [2, 8]) {
      await pick(page, n);
      const seen = await look(page);
      assert(seen.orange > 500, JSON.stringify(seen));
      assert.notStrictEqual(seen.sum, before.sum);
      assert.deepStrictEqual(await chosen(page), [n]);
      const {x, y} = await (await page.$('figure.view canvas')).boundingBox();
      const [right, down] = seen.orangeAt;
      await page.evaluate(() => document.querySelector('figure.view canvas').focus());
      await page.keyboard.press('Escape');
      assert.deepStrictEqual(await chosen(page), []);
      assert.strictEqual((await look(page)).sum, before.sum);
      // The middle of a rook's picture is the rook; that of a gear's may be its bore.
      if (n === 8) {
        await page.mouse.click(x + right, y + down);
        assert.deepStrictEqual(await chosen(page), [n]);
        await page.mouse.click(x + 5, y + 5);
        assert.deepStrictEqual(await chosen(page), []);
      }
    }
    await close(page);
  },

  async 'pieces are hidden and shown'() {
    const page = await open('plate/report.html');
    await ready(page);
    const before = await look(page);
    for (let n = 1; n <= 9; ++n) await (await (await row(page, n)).$('[data-show]')).click();
    assert.strictEqual((await look(page)).blue, 0);
    for (let n = 1; n <= 9; ++n) await (await (await row(page, n)).$('[data-show]')).click();
    assert.strictEqual((await look(page)).sum, before.sum);
    await close(page);
  },

  async 'the slider cuts at its height'() {
    const page = await open('plate/report.html');
    await ready(page);
    const before = await look(page);
    const slider = await page.$('[data-cut]');
    await slider.evaluate(s => { s.value = '30'; s.dispatchEvent(new Event('input')); });
    const cut = await look(page);
    assert(cut.inside > 1000 && before.inside === 0, JSON.stringify([cut, before]));
    assert(cut.blue < before.blue);
    const said = await page.$eval('[data-cut-height]', o => o.textContent);
    assert(Math.abs(parseFloat(/^Z ([0-9.]+) mm$/.exec(said)[1]) - 30) < 0.1, said);
    await slider.focus();
    await page.keyboard.press('End');
    assert.strictEqual((await look(page)).sum, before.sum);
    assert.strictEqual(await page.$eval('[data-cut-height]', o => o.textContent), 'whole');
    // At the lowest end nothing is left.
    await page.keyboard.press('Home');
    assert((await look(page)).blue < before.blue / 20);
    await close(page);
  },

  async 'keys turn, move, zoom, cut, choose and hide'() {
    const page = await open('plate/report.html');
    await ready(page);
    await page.focus('figure.view canvas');
    const start = await look(page);
    let before = start;
    const changes = async (...keys) => {
      for (const key of keys.slice(0, -1)) await page.keyboard.down(key);
      await page.keyboard.press(keys[keys.length - 1]);
      for (const key of keys.slice(0, -1)) await page.keyboard.up(key);
      const seen = await look(page);
      assert.notStrictEqual(seen.sum, before.sum, keys.join());
      before = seen;
      return seen;
    };
    await changes('ArrowLeft');
    await changes('ArrowUp');
    await changes('Shift', 'ArrowRight');
    const wide = before.blue;
    assert((await changes('+')).blue > wide);
    assert((await changes('PageDown')).inside > 0);
    assert.strictEqual((await changes('Home')).sum, start.sum);
    assert((await changes('n')).orange > 0);
    assert.deepStrictEqual(await chosen(page), [1]);
    assert((await changes('h')).orange < 20);
    await changes('h');
    await changes('p');
    assert.deepStrictEqual(await chosen(page), [9]);
    assert.strictEqual((await changes('Escape')).sum, start.sum);
    await close(page);
  },

  async 'the view is reached by Tab and has a text'() {
    const page = await open('plate/report.html');
    await ready(page);
    await page.keyboard.press('Tab');
    const [tag, label] = await page.evaluate(() => [document.activeElement.tagName, document.activeElement.ariaLabel]);
    assert.strictEqual(tag, 'CANVAS');
    assert.match(label, /^Plate of 9 pieces in 3D/);
    assert.strictEqual(await page.$$eval('img:not([alt]), img[alt=""]', all => all.length), 0);
    assert.strictEqual(await page.$$eval('svg:not([aria-label])', all => all.length), 0);
    assert.strictEqual(await page.$$eval('button, input', all => all.filter(
        e => !e.textContent.trim() && !e.ariaLabel && !e.labels?.length).length), 0);
    await close(page);
  },

  async 'mouse and touch turn and move'() {
    const page = await open('plate/report.html', {viewport: {width: 1280, height: 900, hasTouch: true}});
    await ready(page);
    const start = await look(page);
    const {x, y} = await (await page.$('figure.view canvas')).boundingBox();
    await page.mouse.move(x + 300, y + 200);
    await page.mouse.down();
    await page.mouse.move(x + 360, y + 220, {steps: 4});
    await page.mouse.up();
    const turned = await look(page);
    assert.notStrictEqual(turned.sum, start.sum);
    await page.mouse.wheel({deltaY: -300});
    await new Promise(done => setTimeout(done, 200));
    const near = await look(page);
    assert(near.blue > turned.blue);
    await page.touchscreen.touchStart(x + 300, y + 200);
    await page.touchscreen.touchMove(x + 340, y + 200);
    await page.touchscreen.touchMove(x + 380, y + 210);
    await page.touchscreen.touchEnd();
    assert.notStrictEqual((await look(page)).sum, near.sum);
    await close(page);
  },

  async 'findings stand beside the view and lead to their places, in red'() {
    const page = await open('wrong/report.html');
    await ready(page);
    const before = await look(page);
    assert.strictEqual(before.red, 0);
    assert.match(await page.$eval('.verdict', v => v.className), /error/);
    const codes = await page.$$eval('.marks button', all => all.map(b => b.textContent));
    assert(codes.includes('OVERLAP') && codes.includes('OPEN-EDGES'), codes.join());
    await (await page.$$('.marks button'))[codes.indexOf('OVERLAP')].click();
    const overlap = await look(page);
    assert(overlap.red > 2000, JSON.stringify(overlap));
    assert.strictEqual(await page.$$eval('.findings li.chosen', all => all.length), 1);
    await (await page.$$('.marks button'))[codes.indexOf('OPEN-EDGES')].click();
    const points = await page.evaluate(() => [...window.shown[0].marks.geometry.attributes.position.array]);
    assert(points.length >= 3 && points.every(Number.isFinite), points.join());
    // What a code means is on the page.
    const story = JSON.parse(trqprep('explain', 'OVERLAP', '--json')).data.rules[0];
    const said = await page.$eval('.findings li.error details p', p => p.textContent);
    assert(JSON.stringify(story).includes(JSON.stringify(said).slice(1, -1)), said);
    await close(page);
  },

  async 'layers are those of the slices'() {
    const page = await open('sliced/report.html');
    await page.$eval('figure.layers', figure => figure.scrollIntoView());
    await page.waitForSelector('figure.layers[data-ready]');
    const stacks = await page.evaluate(() => window.shown.filter(s => s.loops).map(
        s => s.heights.map(z => [z, s.loops.get(z).map(loop => {
          let twice = 0;
          for (let k = 0, n = loop.length; k < n; k += 2) {
            twice += loop[k] * loop[(k + 3) % n] - loop[(k + 2) % n] * loop[k + 1];
          }
          return twice / 2;
        }).reduce((a, b) => a + b, 0)])));
    const expected = JSON.parse(trqprep('slc', 'area', 'sliced/slices/rook-1.slc', '--json')).data.each_layer;
    assert.strictEqual(stacks[0].length, expected.length);
    for (const [i, layer] of expected.entries()) {
      assert(Math.abs(stacks[0][i][0] - layer.z) < 1e-4);
      assert(Math.abs(stacks[0][i][1] - layer.area) < 0.05 + layer.area * 1e-3, `${i}: ${stacks[0][i][1]} ${layer.area}`);
    }
    const slider = await page.$('[data-layer]');
    const pixels = () => page.$eval('figure.layers canvas', c => c.toDataURL());
    await slider.evaluate(s => { s.value = '1'; s.dispatchEvent(new Event('input')); });
    const first = await pixels();
    await slider.focus();
    await page.keyboard.press('End');
    assert.notStrictEqual(await pixels(), first);
    assert.match(await page.$eval('[data-layer-height]', o => o.textContent), new RegExp(`^${expected.length} of ${expected.length}, `));
    await close(page);
  },

  async 'names stay names'() {
    for (const [file, names] of [['hostile.html', ['<img src=x onerror=alert(1)>.stl', 'script>.stl']],
                                 ['named/report.html', null]]) {
      const page = await open(file);
      if (names) {
        assert.deepStrictEqual(await page.$$eval('h1', all => all.map(h => h.textContent)), names);
        await ready(page);
      }
      await page.evaluate(() => document.querySelectorAll('details').forEach(d => { d.open = true; }));
      assert.strictEqual(await page.$$eval('img', all => all.filter(i => !i.src.startsWith('data:image/')).length), 0);
      assert.strictEqual(await page.$$eval('[onerror], [onload], iframe, object, embed, a[href^="javascript"]', all => all.length), 0);
      if (!names) {
        assert((await page.$eval('.sheet', s => s.textContent)).includes('</script><script>alert(1)</script>'));
      }
      await close(page);
    }
  },

  async 'printing gives the pages of the sheet'() {
    const page = await open('plate/report.html');
    await ready(page);
    await look(page);
    for (const [format, width, height] of [['A4', 595, 842], ['Letter', 612, 792]]) {
      const pdf = Buffer.from(await page.pdf({format, printBackground: true})).toString('latin1');
      const pages = (pdf.match(/\/Type\s*\/Page\b/g) || []).length;
      const boxes = [...pdf.matchAll(/\/MediaBox\s*\[0 0 ([0-9.]+) ([0-9.]+)\]/g)];
      assert.strictEqual(boxes.length, pages);
      for (const [, w, h] of boxes) assert(Math.abs(w - width) <= 1 && Math.abs(h - height) <= 1, `${format} ${w} ${h}`);
      // What the sheet is high, at the width that margins of 14 mm leave, by what they leave of a page's height.
      const margins = 2 * 14 / 25.4 * 72, scale = 96 / 72;
      await page.emulateMediaType('print');
      await page.setViewport({width: Math.round((width - margins) * scale), height: 900});
      const tall = await page.evaluate(() => document.documentElement.scrollHeight) / scale / (height - margins);
      await page.emulateMediaType(null);
      await page.setViewport({width: 1280, height: 900});
      assert(pages >= Math.ceil(tall) && pages <= Math.ceil(tall * 1.35), `${format}: ${pages} pages, ${tall} high`);
      assert(pages >= 2 && pages <= 5, `${format}: ${pages} pages`);
    }
    await close(page);
  },

  async 'narrow and dark pages have no rows beyond their edge'() {
    for (const width of [360, 800, 1600]) {
      const page = await open('plate/report.html', {viewport: {width, height: 800},
                                                    media: [{name: 'prefers-color-scheme', value: 'dark'}]});
      await ready(page);
      assert((await page.evaluate(() => document.documentElement.scrollWidth)) <= width);
      const [r, g, b] = await page.evaluate(() => getComputedStyle(document.documentElement).backgroundColor.match(/\d+/g).map(Number));
      assert(r + g + b < 150);
      assert((await look(page)).colours > 100);
      await close(page);
    }
  },

  async 'without scripts, and without WebGL, the page is a sheet'() {
    const poor = await puppeteer.launch({...BROWSER, args: [...BROWSER.args, '--disable-3d-apis']});
    try {
      for (const how of [{scripts: false}, {from: poor}]) {
        const page = await open('plate/report.html', how);
        const seen = await page.evaluate(() => {
          const visible = e => Boolean(e && e.getClientRects().length);
          return {
            canvas: visible(document.querySelector('canvas')), button: visible(document.querySelector('button')),
            pictures: [...document.querySelectorAll('img')].filter(i => visible(i) && i.naturalWidth > 50).length,
            rows: [...document.querySelectorAll('.pieces tbody tr')].filter(visible).map(r => r.innerText),
            parameters: document.querySelectorAll('.parameters dd').length,
          };
        });
        assert.strictEqual(seen.canvas, false);
        assert.strictEqual(seen.button, false);
        assert.strictEqual(seen.pictures, 11);  // plate twice, and one a piece
        assert.strictEqual(seen.rows.length, 9);
        assert.match(seen.rows[7], /rook-1[\s\S]*34 × 34 × 78 mm[\s\S]*Fine\.sty/);
        assert(seen.parameters > 150);
        await close(page);
      }
    } finally {
      await poor.close();
    }
  },

  async 'meshes beyond the limit are simplified, and the page says so'() {
    trqprep('report', example('parts/rook.stl'), '-o', 'coarse.html', '--report-facets', '2000');
    const html = fs.readFileSync(path.join(work, 'coarse.html'), 'utf8');
    const {meshes} = JSON.parse(blockOf(html, 's1-scene'));
    assert(meshes[0].facets <= 2200 && meshes[0].facets > 1500, meshes[0].facets);
    const {places} = decodeMesh(html, meshes[0]);
    // The box stays what it is.
    for (let k = 0; k < 3; ++k) assert(Math.max(...places.map(p => p[k])) - Math.min(...places.map(p => p[k])) > 63000, k);
    const page = await open('coarse.html');
    await ready(page);
    assert((await look(page)).blue > 5000);
    assert.match(await page.$eval('figcaption', f => f.textContent), /of 12.936 facets: meshes were simplified/);
    await close(page);
  },
};

async function main() {
  const started = Date.now(), only = process.argv[2];
  const plate = [example('parts/bracket.stl'), '--part', example('parts/spur_gear.stl') + ',copies=6,rotate-z=15', '--part',
                 example('parts/rook.stl') + ',copies=2', '--style', example('styles/Fine.sty'), '--recoat',
                 example('styles/ThreeSweeps.rcs'), '--machine', 'TRQ-E7', '--vat', '250x250x250mm', '--time', '1'];
  trqprep('build', ...plate, '-o', 'plate');
  trqprep('build', example('parts/rook.stl'), '--style', example('styles/Fine.sty'), '--recoat',
          example('styles/ThreeSweeps.rcs'), '--time', '0', '--slice', '-o', 'sliced');
  fs.writeFileSync(path.join(work, 'box.stl'), stl(box(20, true)));
  fs.writeFileSync(path.join(work, 'other.stl'), stl(box(20, true)));
  forced('build', 'box.stl,at=10:10', 'other.stl,at=15:15', '--vat', '100x100x100mm', '--force-checks', '-o', 'wrong');
  const hostile = '<img src=x onerror=alert(1)>.stl';
  fs.writeFileSync(path.join(work, hostile), stl(box(20)));
  fs.mkdirSync(path.join(work, '<'));
  fs.writeFileSync(path.join(work, '</script>.stl'), stl(box(20)));
  trqprep('report', hostile, '</script>.stl', '-o', 'hostile.html');
  trqprep('style', 'export', example('styles/Fine.sty'), '--to', 'json', '-o', 'style.json');
  const style = JSON.parse(fs.readFileSync(path.join(work, 'style.json'), 'utf8'));
  style.texts.style_name = '</script><script>alert(1)</script>';
  fs.writeFileSync(path.join(work, 'named.json'), JSON.stringify(style));
  trqprep('style', 'import', 'named.json', '-o', 'named.sty');
  trqprep('build', hostile, '--style', 'named.sty', '--recoat', example('styles/ThreeSweeps.rcs'), '--force-checks', '--time', '0',
          '-o', 'named');
  browser = await puppeteer.launch(BROWSER);
  let failed = 0;
  for (const [name, test] of Object.entries(tests)) {
    if (only && !name.includes(only)) continue;
    const begin = Date.now();
    try {
      await test();
      console.log(`ok    ${name} (${Date.now() - begin} ms)`);
    } catch (error) {
      ++failed;
      console.log(`FAIL  ${name}\n${error.stack}`);
    }
  }
  await browser.close();
  console.log(`${failed} failed, ${((Date.now() - started) / 1000).toFixed(1)} s`);
  return failed === 0 ? 0 : 1;
}

main().then(code => { process.exitCode = code; }, error => { console.error(error); process.exitCode = 1; })
    .finally(() => fs.rmSync(work, {recursive: true, force: true}));
