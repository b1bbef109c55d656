// site_search_test.js SITE: the search of the built site, in a real browser: words of pages, messages, parameters and classes lead
// to their pages, and the browser asks no other machine for anything.
'use strict';
const assert = require('assert');
const fs = require('fs');
const http = require('http');
const path = require('path');
const puppeteer = require('puppeteer-core');

const SITE = path.resolve(process.argv[2]);
const KINDS = {'.html': 'text/html', '.js': 'text/javascript', '.css': 'text/css', '.json': 'application/json', '.svg': 'image/svg+xml'};
const WANTED = {
  'UNITS-DOUBT': 'reference/messages.html',
  'Boundary Comp': 'reference/parameters.html',
  'GRID_INDEX2': 'reference/cpp.html',
  'vents add': 'trqprep.html',
  'trqprep.estimates/1': 'reference/documents.html',
};

async function main() {
  const server = http.createServer((request, response) => {
    const file = path.join(SITE, decodeURIComponent(new URL(request.url, 'http://x').pathname));
    fs.readFile(file, (error, bytes) => {
      response.writeHead(error ? 404 : 200, {'Content-Type': KINDS[path.extname(file)] || 'application/octet-stream'});
      response.end(error ? '' : bytes);
    });
  });
  await new Promise(done => server.listen(0, '127.0.0.1', done));
  const origin = `http://127.0.0.1:${server.address().port}`;
  const browser = await puppeteer.launch({executablePath: process.env.CHROMIUM || '/usr/bin/chromium', args: ['--no-sandbox', '--disable-dev-shm-usage']});
  try {
    const page = await browser.newPage();
    await page.setViewport({width: 1400, height: 900});
    const elsewhere = [];
    page.on('request', request => {
      if (!/^(data|blob):/.test(request.url()) && !request.url().startsWith(origin)) elsewhere.push(request.url());
    });
    for (const [words, target] of Object.entries(WANTED)) {
      await page.goto(origin + '/index.html');
      await page.waitForSelector('.md-search__input', {visible: true});
      await page.click('.md-search__input');
      await page.type('.md-search__input', words);
      await page.waitForSelector('.md-search-result__link', {timeout: 60000});
      await page.waitForFunction(
        wanted => [...document.querySelectorAll('.md-search-result__link')].some(link => link.href.includes('/' + wanted)),
        {timeout: 60000}, target);
    }
    assert.deepStrictEqual(elsewhere, []);
    console.log(`${Object.keys(WANTED).length} searches lead to their pages, nothing comes from elsewhere`);
  } finally {
    await browser.close();
    server.close();
  }
}

main().catch(error => {
  console.error(error);
  process.exit(1);
});
