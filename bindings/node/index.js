'use strict';

const { inspect } = require('node:util');
const { setTimeout: delay } = require('node:timers/promises');
const { isMainThread } = require('node:worker_threads');
const koffi = require('koffi');
const { KestrelbayError, declare, load, shared } = require('./native.js');

const VERSION = require('./package.json').version.split('.').slice(0, 2).join('.');
const FIELD_BYTES = 260;
const BUFFER_BYTES = 65536;
const POLL_MS = 20;
const PAUSE_MS = 500; // after a job, so that its thread can leave the library
const ROOM_BYTES = 1024;
const NEVER_WRITTEN = -11644473600000;
const PNG = 'data:image/png;base64,';
const LEVELS = { 2: 'debug', 3: 'info', 4: 'warning', 5: 'error' };
const FAILURES = {
  [-1]: "the machine's setting is missing or not a number",
  [-2]: 'out of memory',
  [-3]: 'a thread could not be started',
  [-4]: 'unexpected exception in the library',
};
const INSTALL = ['path', 'name', 'key', 'parameters', 'result', 'message', 'version'];
const UNINSTALL = ['name', 'key', 'result', 'message'];

const Entry = koffi.struct({
  name: 'str', location: 'str', version: 'str', iconSource: 'str', icon: 'str', installDate: 'str',
  changed: 'str', architecture: 'int32',
});

function check(text, what, limit = Infinity) {
  if (typeof text !== 'string') throw new KestrelbayError(`${what} must be a string, not ${typeof text}`);
  if (text.includes('\0')) throw new KestrelbayError(`${what} contains a null character: remove it`);
  if (/[\ud800-\udbff](?![\udc00-\udfff])|(?<![\ud800-\udbff])[\udc00-\udfff]/.test(text)) {
    throw new KestrelbayError(`${what} is not valid Unicode text: it contains half of a surrogate pair`);
  }
  const bytes = Buffer.byteLength(text);
  if (bytes > limit) {
    throw new KestrelbayError(`${what} has ${bytes} bytes of UTF-8, but at most ${limit} are possible: shorten it`);
  }
  return text;
}

function checkPath(text, what, limit) {
  if (check(text, what, limit).includes('"')) {
    throw new KestrelbayError(`${what} contains a quotation mark: remove it, the library adds its own`);
  }
  return text;
}

const textAt = (buffer, offset) => buffer.toString('utf8', offset, buffer.indexOf(0, offset));

function toApp(entry) {
  const isPicture = entry.icon.startsWith(PNG);
  const changed = Number(entry.changed);
  return {
    name: entry.name, version: entry.version, location: entry.location, installDate: entry.installDate,
    changed: changed === NEVER_WRITTEN ? null : new Date(changed),
    architecture: { 1: 32, 2: 64 }[entry.architecture] ?? null,
    iconSource: entry.iconSource,
    icon: isPicture ? Buffer.from(entry.icon.slice(PNG.length), 'base64') : null,
    iconPath: entry.icon && !isPicture ? entry.icon : null,
  };
}

function checkThread() {
  // Each worker thread has its own copy of this module.
  if (!isMainThread) throw new KestrelbayError('only the main thread can start and stop jobs: send it a message');
}

class Library {
  #functions;

  constructor(folder = process.env.KESTRELBAY_LIBRARY_DIR) {
    if (!folder) throw new KestrelbayError('give the folder of KestrelbayGeneral.dll, or set KESTRELBAY_LIBRARY_DIR');
    const libraries = load(folder);
    let found = 'unknown';
    try {
      found = libraries[2].func('str GuardVersion()')();
    } catch {} // without this function it has another version
    if (found !== VERSION) {
      throw new KestrelbayError(`the libraries in ${folder} have version ${found}, this package ${VERSION}: ` +
        'install the same version of both');
    }
    this.#functions = declare(libraries[1], libraries[2]);
    this.#call('QueueLog');
  }

  on(event, listener) {
    if (event === 'log') shared.listeners.add(listener);
    return this;
  }

  off(event, listener) {
    if (event === 'log') shared.listeners.delete(listener);
    return this;
  }

  list({ icons = false } = {}) {
    const entries = [null];
    const count = [0];
    this.#call('GetInstalledAppList', [entries, count, icons]);
    try {
      // koffi has no empty arrays.
      return count[0] ? koffi.decode(entries[0], koffi.array(Entry, count[0])).map(toApp) : [];
    } finally {
      this.#call('ReleaseInstalledAppList', [entries, count[0]]);
    }
  }

  version(name) {
    return this.#fact('GetAppVersion', check(name, 'the name'), '');
  }

  facts() {
    const tablet = this.#call('IsTabletPC', [], [-1]);
    return {
      manufacturer: this.#fact('GetManufacturer'), product: this.#fact('GetProductName'),
      deviceId: this.#fact('GetDeviceId'), graphics: this.#fact('GetGraphics'),
      proxy: this.#fact('GetProxyServer'), isTablet: tablet < 0 ? null : tablet === 1,
      hostFolder: this.#hostFolder(),
    };
  }

  freeSpace(drive) {
    const mebibytes = [0];
    this.#call('GetDiskAvailableSpace', [check(drive, 'the drive'), mebibytes]);
    return Number(mebibytes[0]) < 0 ? null : Number(mebibytes[0]);
  }

  async install(installer, name, parameters = '') {
    return this.#job('Install', INSTALL, {
      path: checkPath(installer, "the installer's path", FIELD_BYTES - 1),
      name: check(name, 'the name', FIELD_BYTES - 1),
      parameters: check(parameters, 'the parameter text', FIELD_BYTES - 1),
    });
  }

  async uninstall(name) {
    return this.#job('Uninstall', UNINSTALL, { name: check(name, 'the name', FIELD_BYTES - 1) });
  }

  stopWaiting() {
    checkThread();
    shared.isStopped = true;
    this.#call('SetStopAppEvent');
  }

  start(name, alias = '') {
    return this.#call('StartApp', [check(name, 'the name'), check(alias, 'the alias')]) === 1;
  }

  run(file, args = '') {
    return this.#call('StartAnyExe', [checkPath(file, 'the path'), check(args, 'the arguments')]) === 1;
  }

  forget(name) {
    check(name, 'the name');
    const first = this.list().find((app) => app.name === name);
    if (first && first.architecture !== 64) {
      throw new KestrelbayError('this entry is of a user or of the 32-bit view: the library cannot delete it');
    }
    return this.#call('DeleteAppRegistryInfo', [name]) === 1;
  }

  encrypt(secret) {
    if (secret === '') throw new KestrelbayError('the secret is empty: decrypt() could not return it');
    return this.#transform('Encrypt', secret, 'the secret could not be protected');
  }

  decrypt(protectedText) {
    return this.#transform('Decrypt', protectedText, 'this is not a text that this user on this machine protected');
  }

  #transform(name, text, failure) {
    const output = [null];
    this.#call(name, [check(text, 'the text'), output]);
    const bytes = koffi.decode(output[0], 'uint8', -1); // up to the null
    if (bytes.length) koffi.encode(output[0], koffi.array('uint8', bytes.length), new Uint8Array(bytes.length));
    this.#functions.ReleaseDllStr(output);
    if (!bytes.length) throw new KestrelbayError(failure);
    try {
      return new TextDecoder('utf-8', { fatal: true, ignoreBOM: true }).decode(bytes);
    } catch {
      throw new KestrelbayError('the secret is not UTF-8: decrypt it with the program that encrypted it');
    } finally {
      bytes.fill(0);
    }
  }

  #fact(name, ...args) {
    const buffer = Buffer.alloc(BUFFER_BYTES);
    const size = Int32Array.of(BUFFER_BYTES);
    return this.#call(name, [...args, buffer, size], [-1]) === 1 ? textAt(buffer, 0) : null;
  }

  #hostFolder() {
    const buffer = Buffer.alloc(BUFFER_BYTES);
    const size = Int32Array.of(BUFFER_BYTES);
    this.#call('GetRootDir', [buffer, size, 2]);
    // For a character outside the code page; no path contains it.
    if (buffer.includes('?')) return null;
    if (!this.#functions.ToUtf16) return textAt(buffer, 0);
    const utf16 = Buffer.alloc(2 * size[0]); // from the ANSI code page, which is 0
    return utf16.toString('utf16le', 0, 2 * this.#functions.ToUtf16(0, 0, buffer, size[0], utf16, size[0]));
  }

  #job(kind, fields, texts) {
    checkThread();
    const buffer = Buffer.alloc(fields.length * FIELD_BYTES + ROOM_BYTES + 4);
    for (const [field, text] of Object.entries(texts)) buffer.write(text, fields.indexOf(field) * FIELD_BYTES);
    const outcome = shared.lastJob[kind].then(() => this.#runJob(kind, fields, buffer));
    shared.lastJob[kind] = outcome.catch(() => {});
    return outcome;
  }

  async #runJob(kind, fields, buffer) {
    if (shared.isStopped) {
      throw new KestrelbayError('jobs cannot start after stopWaiting(): use another process');
    }
    shared.keptJobs.add(buffer);
    await new Promise((resolve, reject) => {
      // On another thread, because a start takes half a second.
      this.#functions[`Start${kind}`].async(buffer, (error, status) =>
        error || status < 0 ? reject(error ?? failed(`Start${kind}`, status)) : resolve());
    });
    while (!buffer.readInt32LE(buffer.length - 4)) {
      await delay(POLL_MS);
      this.#forwardLog();
    }
    await delay(PAUSE_MS);
    this.#forwardLog();
    shared.keptJobs.delete(buffer);
    const text = (field) => (fields.includes(field) ? textAt(buffer, fields.indexOf(field) * FIELD_BYTES) : '');
    const result = text('result');
    return { success: result === 'Success', result, message: text('message'), version: text('version') };
  }

  #call(name, args = [], allowed = []) {
    const status = this.#functions[name](...args);
    this.#forwardLog();
    if (status < 0 && !allowed.includes(status)) throw failed(name, status);
    return status;
  }

  /**
   * Without a listener on this thread, the records stay for another thread. Those of calls that a listener makes wait
   * for the next call: the listener would get its own without end.
   */
  #forwardLog() {
    if (!shared.listeners.size || shared.isForwarding) return;
    shared.isForwarding = true;
    try {
      for (const record of this.#takeLog()) emitLog(record);
    } finally {
      shared.isForwarding = false;
    }
  }

  #takeLog() {
    const records = [];
    const level = new Int32Array(1);
    const dropped = new Uint32Array(1);
    let text = Buffer.alloc(BUFFER_BYTES);
    for (;;) {
      const size = Int32Array.of(text.length);
      const taken = this.#functions.TakeLog(level, text, size, dropped);
      if (dropped[0]) records.push({ level: 'warning', text: `${dropped[0]} log records were dropped` });
      if (taken === 0) return records;
      if (taken < 0) text = Buffer.alloc(size[0]);
      else records.push({ level: LEVELS[level[0]] ?? 'info', text: textAt(text, 0) });
    }
  }
}

/** An exception of a listener must not break off a job, or a call that has something to release. */
function emitLog(record) {
  for (const listener of shared.listeners) {
    try {
      listener(record);
    } catch (error) {
      process.emitWarning(error instanceof Error ? error : inspect(error));
    }
  }
}

function failed(name, status) {
  return new KestrelbayError(`${name}: ${FAILURES[status] ?? status}`);
}

module.exports = { KestrelbayError, Library };
