'use strict';
// The Node package: package.js LIBRARIES BAD-FOLDERS. Exceptions: package.js LIBRARIES
const assert = require('node:assert/strict');
const { KestrelbayError, Library } = require('kestrelbay-general');

const [folder, bad] = process.argv.slice(2);
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
  if (!bad) {
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
  assert.throws(() => new Library(`${bad}/incomplete`), refusal('is missing in'));
  assert.throws(() => new Library(`${bad}/broken`), refusal('cannot be loaded'));
  assert.throws(() => new Library(`${bad}/other`), refusal('version 9.9'));
  assert.throws(() => new Library(`${bad}/foreign`), refusal('another version'));
  const { arch } = process;
  Object.defineProperty(process, 'arch', { value: 'ia32' });
  assert.throws(() => new Library(folder), refusal('use 64-bit Node.js'));
  Object.defineProperty(process, 'arch', { value: arch });
  const long = 'é'.repeat(130);
  await assert.rejects(library.uninstall(long), refusal('the name has 260 bytes of UTF-8, but at most 259'));
  await assert.rejects(library.install('a.exe', long), refusal('the name has 260'));
  await assert.rejects(library.install(long, 'a'), refusal("the installer's path has 260"));
  await assert.rejects(library.install('a.exe', 'a', long), refusal('the parameter text has 260'));
  assert.equal((await library.uninstall(`${'é'.repeat(129)}e`)).message, 'Get uninstall path is empty!');
  assert.throws(() => library.version('a\0b'), refusal('null character'));
  assert.throws(() => library.version('\ud800'), refusal('no valid Unicode'));
  assert.throws(() => library.decrypt('no protected text'), refusal('no text that this user'));
}

main().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
