'use strict';
// The C functions of KestrelbayGuard.h. Loads their libraries.

const fs = require('node:fs');
const path = require('node:path');
const { getEnvironmentData, setEnvironmentData } = require('node:worker_threads');
const koffi = require('koffi');

/** A call that cannot be made or that failed. The message says what is wrong and what to do. */
class KestrelbayError extends Error {
  constructor(message) {
    super(message);
    this.name = 'KestrelbayError';
  }
}

/** Shared by all copies of this module on this thread: a process has one library, with one table of jobs per kind. */
const shared = (globalThis[Symbol.for('kestrelbay-general')] ??= {
  listeners: new Set(),
  isForwarding: false,
  lastJob: { Install: Promise.resolve(), Uninstall: Promise.resolve() },
  keptJobs: new Set(), // the library has the addresses of their buffers
  isStopped: false,
});

const FOLDER = 'kestrelbay-general folder'; // of the loaded libraries; known to this thread and those that it starts

/** Loads the libraries of a folder. Windows must not search their imports in the folder of node.exe. */
function load(folder) {
  if (process.arch !== 'x64') {
    throw new KestrelbayError(`this Node.js is for ${process.arch}, but the library is for x64: use 64-bit Node.js`);
  }
  const isWindows = process.platform === 'win32';
  const names = isWindows
    ? ['log.dll', 'KestrelbayGeneral.dll', 'KestrelbayGuard.dll']
    : ['libkestrelbay_machine.so', 'libKestrelbayGeneral.so', 'libKestrelbayGuard.so'];
  if (!fs.existsSync(folder) || !fs.statSync(folder).isDirectory()) {
    throw new KestrelbayError(`${folder} is not a folder: give the folder that holds ${names.join(', ')}`);
  }
  for (const name of names) {
    if (!fs.existsSync(path.join(folder, name))) {
      throw new KestrelbayError(`${name} is missing in ${folder}: copy it there from the KestrelbayGeneral package`);
    }
  }
  const full = fs.realpathSync.native(folder);
  const loaded = getEnvironmentData(FOLDER) ?? full;
  if (loaded !== full) throw new KestrelbayError(`the library is already loaded from ${loaded}: a process has one`);
  // Each one is loaded before the library that imports it, so that Windows finds it in memory.
  return names.map((name) => {
    const file = path.join(full, name);
    try {
      const library = koffi.load(file);
      setEnvironmentData(FOLDER, full);
      return library;
    } catch (error) {
      throw new KestrelbayError(`${file} cannot be loaded: ${error.message.replace(/\.?\s*$/, '')}. ` +
        'Copy all libraries of one x64 KestrelbayGeneral package there');
    }
  });
}

function declare(general, guard) {
  const functions = { ReleaseDllStr: general.func('void ReleaseDllStr(_Inout_ void** text)') };
  const prototypes = {
    QueueLog: '', TakeLog: 'void* level, void* text, void* size, void* dropped',
    StartInstall: 'void* job', StartUninstall: 'void* job', SetStopAppEvent: '',
    GetManufacturer: 'void* buffer, void* size', GetDeviceId: 'void* buffer, void* size',
    GetProductName: 'void* buffer, void* size', GetProxyServer: 'void* buffer, void* size',
    GetGraphics: 'void* buffer, void* size', IsTabletPC: '',
    GetAppVersion: 'str name, str key, void* buffer, void* size',
    GetDiskAvailableSpace: 'str path, _Out_ int64* mebibytes',
    GetRootDir: 'void* buffer, void* size, uint32 mode',
    GetInstalledAppList: '_Out_ void** entries, _Out_ uint32* count, bool icons',
    ReleaseInstalledAppList: '_Inout_ void** entries, int32 count',
    DeleteAppRegistryInfo: 'str name', StartApp: 'str name, str alias', StartAnyExe: 'str path, str arguments',
    Encrypt: 'str input, _Out_ void** output', Decrypt: 'str input, _Out_ void** output',
  };
  for (const [name, parameters] of Object.entries(prototypes)) {
    functions[name] = guard.func(`int32 Guard${name}(${parameters})`);
  }
  if (process.platform === 'win32') {
    functions.ToUtf16 = koffi.load('kernel32.dll').func(
      'int MultiByteToWideChar(uint32 codePage, uint32 flags, void* from, int bytes, void* to, int units)');
  }
  return functions;
}

module.exports = { KestrelbayError, declare, load, shared };
