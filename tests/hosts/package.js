'use strict';
// The Node package: package.js LIBRARIES OTHER-LIBRARIES. Exceptions: package.js LIBRARIES
// On a machine without applications: package.js LIBRARIES --empty. On the machine outside: package.js LIBRARIES
// --outside. One folder that is refused: package.js --refuses FOLDER FRAGMENT
const assert = require('node:assert/strict');
const { once } = require('node:events');
const fs = require('node:fs');
const path = require('node:path');
const { Worker } = require('node:worker_threads');
const koffi = require('koffi');
const { KestrelbayError, Library } = require('kestrelbay-general');

const [folder, other, fragmentOfRefusal] = process.argv.slice(2);
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

/** It leaves shortly after it reports the results. A start takes half a second, and the pause does. */
async function endAJobAfterItsThreadHasLeftTheLibrary(library) {
  const begin = Date.now();
  await library.install('C:\\no such file.exe', 'a');
  assert(Date.now() - begin >= 950);
}

/** Another program may encrypt any bytes: no byte is replaced, and only these bytes are wiped. */
function refuseSecretsThatAreNoText(library) {
  assert.throws(() => library.encrypt(''), refusal('the secret is empty'));
  const encrypt = koffi.load(`${folder}/libKestrelbayGuard.so`).func('int GuardEncrypt(void* input, _Out_ void** output)');
  for (const length of [1, 3, 1000]) {
    const hidden = [null];
    assert.equal(encrypt(Buffer.concat([Buffer.alloc(length, 0xff), Buffer.of(0)]), hidden), 0);
    assert.throws(() => library.decrypt(koffi.decode(hidden[0], 'char', -1)), refusal('not UTF-8'));
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

/** The records of its calls wait for the next call: a listener does not get its own without end. */
function letAListenerCallTheLibrary(library) {
  let [calls, depth, deepest] = [0, 0, 0];
  const call = () => {
    ++calls;
    deepest = Math.max(deepest, ++depth);
    library.freeSpace('C');
    --depth;
  };
  library.on('log', call);
  library.start('Nobody has this');
  library.off('log', call);
  assert(calls > 0 && deepest === 1);
  const later = [];
  const listener = (record) => later.push(record.text);
  library.on('log', listener);
  library.start('Nobody has this');
  library.off('log', listener);
  assert.equal(later.filter((text) => text.includes('enter GetDiskAvailableSpace')).length, calls);
}

/**
 * A worker thread does not know the jobs of another one, but may read the machine, from the same folder. It leaves the
 * log to listeners.
 */
async function refuseJobsOfWorkerThreads(library) {
  const records = [];
  const listener = (record) => records.push(record.text);
  library.on('log', listener);
  const worker = new Worker(`
    const { Library } = require('kestrelbay-general');
    let second = '';
    try {
      new Library(${JSON.stringify(other)});
    } catch (error) {
      second = error.message;
    }
    const library = new Library(${JSON.stringify(folder)});
    let stop = '';
    try {
      library.stopWaiting();
    } catch (error) {
      stop = error.message;
    }
    library.install('a.exe', 'a').catch((error) => {
      require('node:worker_threads').parentPort.postMessage([library.list().length, second, error.message, stop]);
    });`, { eval: true });
  const [[count, second, ...messages]] = await once(worker, 'message');
  assert.equal(count, 45);
  assert(second.includes('already loaded from'));
  assert(messages.every((message) => message.includes('only the main thread')));
  await once(worker, 'exit');
  library.freeSpace('C');
  library.off('log', listener);
  assert(records.some((record) => record.includes('GetInstalledAppList')));
}

/** JavaScript has dates of the far future and past. */
function knowNoValueOutsideTheLanguage(library) {
  const apps = library.list();
  assert.deepEqual(apps.map((app) => app.name), ['Dated', 'Far future', 'Far past', 'Long version']);
  const [dated, future, past] = apps;
  assert.equal(dated.changed.getUTCFullYear(), 2024);
  assert(future.changed.getUTCFullYear() > 9999);
  assert(past.changed.getUTCFullYear() < 0);
  assert.equal(library.facts().hostFolder, null); // the code page lacks a character of it
}

async function giveRoomToAVersionThatOverrunsTheRecord(library) {
  const outcome = await library.install('C:\\installer.exe', 'Long version');
  assert.deepEqual([outcome.message, outcome.version], ['Update fail!', '日'.repeat(259)]);
}

/** For another one the library deletes nothing, or the entry of another application. */
function forgetOnlyEntriesOfThe64BitView(library) {
  const count = (name) => library.list().filter((app) => app.name === name).length;
  for (const name of ['Bramblefont Manager', 'Confetti Chat 🎉']) {
    assert.throws(() => library.forget(name), refusal('of a user or of the 32-bit view'));
    assert.equal(count(name), 2);
  }
  assert.equal(library.forget('Umberline Accounting'), true);
  assert.equal(count('Umberline Accounting'), 0);
  assert.equal(library.forget('Umberline Accounting'), false);
}

/** A process has one library: one of a second folder would break the first one. */
function refuseAnotherFolder(library) {
  assert.throws(() => new Library(other), refusal(`already loaded from ${fs.realpathSync(folder)}`));
  assert.equal(library.list().length, 45);
  assert.equal(new Library(path.join(folder, '.', path.sep)).list().length, 45);
}

/** Each listener gets the records of all objects, whichever takes them from the library. */
function sendRecordsOfOneObjectToTheListenersOfAll(library) {
  const counts = [0, 0];
  const silent = new Library(folder);
  const listeners = [library, new Library(folder)].map((object, i) => {
    const listener = () => ++counts[i];
    object.on('log', listener);
    return () => object.off('log', listener);
  });
  silent.freeSpace('C');
  assert(counts[0] > 0 && counts[0] === counts[1]);
  for (const remove of listeners) remove();
  const before = [...counts];
  silent.freeSpace('C');
  assert.deepEqual(counts, before);
}

/** As a bundler or a second installation loads it: both copies have one order of jobs and one log. */
async function shareTheLibraryBetweenCopiesOfThisModule(library) {
  const folderOfModule = path.dirname(require.resolve('kestrelbay-general'));
  for (const file of Object.keys(require.cache)) {
    if (path.dirname(file) === folderOfModule) delete require.cache[file];
  }
  const copy = new (require('kestrelbay-general').Library)(folder);
  let records = 0;
  const listener = () => ++records;
  library.on('log', listener);
  assert.equal(copy.list().length, 45);
  assert(records > 0);
  library.off('log', listener);
  const ends = [];
  await Promise.all([library, copy].map(async (object) => {
    await object.install('C:\\no such file.exe', 'a');
    ends.push(Date.now());
  }));
  assert(ends[1] - ends[0] >= 900); // the pause between jobs and the start of the second one
}

async function main() {
  if (folder === '--refuses') {
    assert.throws(() => new Library(other), refusal(fragmentOfRefusal));
    return;
  }
  const library = new Library(folder);
  if (other === '--empty') {
    assert.deepEqual([library.list(), library.list({ icons: true })], [[], []]);
    return;
  }
  if (other === '--outside') {
    knowNoValueOutsideTheLanguage(library);
    await giveRoomToAVersionThatOverrunsTheRecord(library);
    return;
  }
  await callWhileJobsRun(library);
  if (!other) {
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

  refuseAnotherFolder(library);
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
  assert.throws(() => library.version('\ud800'), refusal('not valid Unicode'));
  assert.throws(() => library.decrypt('no protected text'), refusal('not a text that this user'));
  refuseSecretsThatAreNoText(library);
  await endAJobAfterItsThreadHasLeftTheLibrary(library);
  await surviveAListenerThatThrows(library);
  letAListenerCallTheLibrary(library);
  sendRecordsOfOneObjectToTheListenersOfAll(library);
  await shareTheLibraryBetweenCopiesOfThisModule(library);
  await refuseJobsOfWorkerThreads(library);
  assert.throws(() => library.run('"a.exe"'), refusal('the path contains a quotation mark'));
  await assert.rejects(library.install('"a.exe"', 'a'), refusal("the installer's path contains a quot"));
  assert.equal(library.facts().hostFolder, 'C:\\Program Files\\Baymarket');
  forgetOnlyEntriesOfThe64BitView(library);
  library.stopWaiting();
  await assert.rejects(library.install('C:\\no such file.exe', 'a'), refusal('jobs cannot start after'));
}

process.exitCode = 1; // Node also ends when nothing can settle the promise of main any more
main().then(() => {
  process.exitCode = 0;
}, console.error);
