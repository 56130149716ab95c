'use strict';
// The Node package: package.js LIBRARIES OTHER-VERSION INCOMPLETE. Exceptions: package.js LIBRARIES
const assert = require('node:assert/strict');
const { KestrelbayError, Library } = require('kestrelbay-general');

const [folder, otherVersion, incomplete] = process.argv.slice(2);
const refusal = (fragment) => (error) => error instanceof KestrelbayError && error.message.includes(fragment);

function surviveExceptions(library) {
  for (let i = 0; i < 500; ++i) { // each call meets two exceptions
    const facts = library.facts();
    assert.equal(facts.isTablet, null);
    assert.equal(facts.proxy, null);
  }
}

/** Calls on this thread while jobs log on theirs: no deadlock. */
async function callWhileJobsRun(library) {
  let pending = 2;
  const jobs = [0, 1].map(async (i) => {
    const outcome = await library.install('C:\\no such file.exe', `name ${i}`);
    --pending;
    return outcome.message;
  });
  while (pending) {
    library.freeSpace('C');
    library.list();
    await new Promise(setImmediate);
  }
  assert.deepEqual(await Promise.all(jobs), Array(2).fill('Install path is not exist!'));
}

async function main() {
  const library = new Library(folder);
  await callWhileJobsRun(library);
  if (!otherVersion) {
    surviveExceptions(library);
    console.log('survived');
    return;
  }
  const records = [];
  library.on('log', (record) => records.push(record.text));
  const apps = library.list({ icons: true });
  assert.equal(apps.length, 45);
  assert(apps.some((app) => app.changed));
  assert(apps.every((app) => app.icon === null || app.icon.subarray(1, 4).toString() === 'PNG'));
  assert(library.version('Inkwhistle PDF Viewer'));
  assert.equal(library.version('Nobody has this'), null);
  assert.equal(library.facts().graphics, 'Lumenfall G40,Basic Display Driver');
  assert.equal(library.freeSpace('C'), 179200);
  assert.equal(library.freeSpace('?'), null);
  assert.equal(library.decrypt(library.encrypt('sécret')), 'sécret');
  assert.equal(library.start('Nobody has this'), false);
  assert.equal(library.forget('Nobody has this'), false);
  assert(records.some((record) => record.includes('GetInstalledAppList')));

  assert.throws(() => new Library(`${folder}/nowhere`), refusal('is no folder'));
  assert.throws(() => new Library(incomplete), refusal('is missing in'));
  assert.throws(() => new Library(otherVersion), refusal('version 9.9'));
  await assert.rejects(library.uninstall('é'.repeat(130)), refusal('at most 259'));
  assert.throws(() => library.version('a\0b'), refusal('null character'));
  assert.throws(() => library.version('\ud800'), refusal('no valid Unicode'));
  assert.throws(() => library.decrypt('no protected text'), refusal('no text that this user'));
}

main().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
