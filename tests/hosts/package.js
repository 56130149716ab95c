'use strict';
// The Node package: package.js LIBRARIES BAD-FOLDERS. Exceptions: package.js LIBRARIES
// On a machine without applications: package.js LIBRARIES --empty. On the machine outside: package.js LIBRARIES
// --outside.
const assert = require('node:assert/strict');
const { once } = require('node:events');
const path = require('node:path');
const { Worker } = require('node:worker_threads');
const koffi = require('koffi');
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

/** Another program may encrypt any bytes: no byte is replaced, and only these bytes are wiped. */
function refuseSecretsThatAreNoText(library) {
  assert.throws(() => library.encrypt(''), refusal('the secret is empty'));
  const encrypt = koffi.load(`${folder}/libKestrelbayGuard.so`).func('int GuardEncrypt(void* input, _Out_ void** output)');
  for (const length of [1, 3, 1000]) {
    const hidden = [null];
    assert.equal(encrypt(Buffer.concat([Buffer.alloc(length, 0xff), Buffer.of(0)]), hidden), 0);
    assert.throws(() => library.decrypt(koffi.decode(hidden[0], 'char', -1)), refusal('no UTF-8'));
  }
  assert.equal(library.decrypt(library.encrypt('\ufeffa')), '\ufeffa');
}

/** Its error becomes a warning of the process, and ends no call and no job. */
async function surviveAListenerThatThrows(library) {
  const warned = once(process, 'warning');
  const fail = () => {
    throw new RangeError('from a listener');
  };
  library.on('log', fail);
  assert.equal(library.list().length, 45);
  const order = [];
  const jobs = ['first', 'second'].map(async (name) => {
    assert.equal((await library.install('C:\\no such file.exe', name)).message, 'Install path is not exist!');
    order.push(name);
  });
  await Promise.all(jobs);
  assert.deepEqual(order, ['first', 'second']);
  library.off('log', fail);
  assert.equal((await warned)[0].message, 'from a listener');
}

/** A worker thread does not know the jobs of another one, but may read the machine. */
async function refuseJobsOfWorkerThreads() {
  const worker = new Worker(`
    const { Library } = require('kestrelbay-general');
    const library = new Library(${JSON.stringify(folder)});
    let stop = '';
    try {
      library.stopWaiting();
    } catch (error) {
      stop = error.message;
    }
    library.install('a.exe', 'a').catch((error) => {
      require('node:worker_threads').parentPort.postMessage([library.list().length, error.message, stop]);
    });`, { eval: true });
  const [[count, ...messages]] = await once(worker, 'message');
  assert.equal(count, 45);
  assert(messages.every((message) => message.includes('only the main thread')));
  await once(worker, 'exit');
}

function listATimeOfTheFarFuture(library) {
  const [dated, far] = library.list();
  assert.deepEqual([dated.name, far.name], ['Dated', 'Far future']);
  assert.equal(dated.changed.getUTCFullYear(), 2024);
  assert(far.changed.getUTCFullYear() > 9999); // JavaScript has such dates
}

async function main() {
  const library = new Library(folder);
  if (bad === '--empty') {
    assert.deepEqual([library.list(), library.list({ icons: true })], [[], []]);
    return;
  }
  if (bad === '--outside') {
    listATimeOfTheFarFuture(library);
    return;
  }
  await callWhileJobsRun(library);
  if (!bad) {
    surviveExceptions(library);
    if (process.platform === 'win32') assert.equal(library.facts().hostFolder, path.dirname(process.execPath));
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
  refuseSecretsThatAreNoText(library);
  await surviveAListenerThatThrows(library);
  await refuseJobsOfWorkerThreads();
  assert.throws(() => library.run('"a.exe"'), refusal('the path contains a quotation mark'));
  await assert.rejects(library.install('"a.exe"', 'a'), refusal("the installer's path contains a quot"));
  assert.equal(library.facts().hostFolder, 'C:\\Program Files\\Baymarket');
  library.stopWaiting();
  await assert.rejects(library.install('C:\\no such file.exe', 'a'), refusal('has ended the jobs'));
}

main().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
