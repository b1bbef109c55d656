// How long a report takes from the order to open it until its first picture is in the canvas: first_picture.js FILE [RUNS].
// Prints milliseconds a run by the clock, and the processor time of all of the browser's processes, which says more on a
// busy machine. Needs puppeteer-core, as report_test.js does.
'use strict';
const fs = require('fs');
const path = require('path');
const {pathToFileURL} = require('url');
const puppeteer = require('puppeteer-core');

// Milliseconds of a process and of all that it started.
function processorTime(root) {
  const processes = new Map();
  for (const name of fs.readdirSync('/proc').filter(name => /^\d+$/.test(name))) {
    try {
      const text = fs.readFileSync(`/proc/${name}/stat`, 'latin1'), fields = text.slice(text.lastIndexOf(')') + 2).split(' ');
      processes.set(+name, {parent: +fields[1], ticks: +fields[11] + +fields[12]});
    } catch (error) {
      // Ended meanwhile.
    }
  }
  const below = id => id === root || (processes.has(id) && below(processes.get(id).parent));
  return 10 * [...processes].filter(([id]) => below(id)).reduce((sum, [, {ticks}]) => sum + ticks, 0);
}

async function main() {
  const [file, runs = '3'] = process.argv.slice(2);
  for (let run = 0; run < +runs; ++run) {
    const browser = await puppeteer.launch({
      executablePath: process.env.CHROMIUM || '/usr/bin/chromium',
      args: ['--no-sandbox', '--disable-dev-shm-usage', '--enable-unsafe-swiftshader'],
    });
    try {
      const page = await browser.newPage();
      await page.setViewport({width: 1280, height: 900});
      const before = processorTime(browser.process().pid), begin = Date.now();
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
      const took = Date.now() - begin, worked = processorTime(browser.process().pid) - before;
      if (blue < 1000) throw new Error('the picture is empty');
      console.log(`${took} ms, ${worked} ms of processor time`);
    } finally {
      await browser.close();
    }
  }
}

main().catch(error => { console.error(error); process.exitCode = 1; });
