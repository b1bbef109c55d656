// How long a report takes from the order to open it until its first picture is in the canvas: first_picture.js FILE [RUNS].
// Prints milliseconds a run, and what the browser's processor time was. Needs puppeteer-core, as report_test.js does.
'use strict';
const path = require('path');
const {pathToFileURL} = require('url');
const puppeteer = require('puppeteer-core');

async function main() {
  const [file, runs = '3'] = process.argv.slice(2);
  for (let run = 0; run < +runs; ++run) {
    const browser = await puppeteer.launch({
      executablePath: process.env.CHROMIUM || '/usr/bin/chromium',
      args: ['--no-sandbox', '--disable-dev-shm-usage', '--enable-unsafe-swiftshader'],
    });
    const page = await browser.newPage();
    await page.setViewport({width: 1280, height: 900});
    page.on('console', m => { if (m.type() !== 'warn') console.log(Date.now() - begin, m.text()); });
    const begin = Date.now();
    await page.goto(pathToFileURL(path.resolve(file)).href, {waitUntil: 'domcontentloaded'});
    await page.waitForSelector('figure.view[data-ready]', {timeout: 120000});
    // Reading a pixel ends when the picture is done.
    const blue = await page.evaluate(() => new Promise(done => requestAnimationFrame(() => requestAnimationFrame(() => {
      const canvas = document.querySelector('figure.view canvas'), flat = document.createElement('canvas');
      [flat.width, flat.height] = [canvas.width, canvas.height];
      const pen = flat.getContext('2d');
      pen.drawImage(canvas, 0, 0);
      const {data} = pen.getImageData(0, 0, flat.width, flat.height);
      let count = 0;
      for (let i = 0; i < data.length; i += 4) count += data[i + 3] > 0 && data[i + 2] > data[i] ? 1 : 0;
      done(count);
    }))));
    const took = Date.now() - begin;
    if (blue < 1000) throw new Error('the picture is empty');
    const parse = await page.evaluate(() => Math.round(performance.getEntriesByType('navigation')[0].domContentLoadedEventEnd));
    console.log(`${took} ms, page read after ${parse} ms, ${blue} pixels`);
    await browser.close();
  }
}

main().catch(error => { console.error(error); process.exitCode = 1; });
