/// <reference types="node" />
import { EventEmitter } from 'node:events';

/** A call that cannot be made or that failed. The message says what is wrong and what to do. */
export class KestrelbayError extends Error {}

/** An installed application. A text that the registry lacks is empty. */
export interface App {
  name: string;
  version: string;
  /** Folder as registered, unchecked. */
  location: string;
  /** As registered, mostly YYYYMMDD. */
  installDate: string;
  /** Last change of the registry entry. */
  changed: Date | null;
  architecture: 32 | 64 | null;
  iconSource: string;
  /** PNG, if `list({ icons: true })` drew one. */
  icon: Buffer | null;
  /** Path of an icon file. */
  iconPath: string | null;
}

/** The machine. A fact that the machine does not have is null. */
export interface Facts {
  manufacturer: string | null;
  product: string | null;
  deviceId: string | null;
  graphics: string | null;
  proxy: string | null;
  isTablet: boolean | null;
  /** Folder of the program that runs, node.exe for example. */
  hostFolder: string;
}

/** How an installation or an uninstallation ended. */
export interface Outcome {
  success: boolean;
  result: 'Success' | 'Fail' | 'Cancel';
  message: string;
  /** Version found after an installation. */
  version: string;
}

export interface LogRecord {
  level: 'debug' | 'info' | 'warning' | 'error';
  text: string;
}

/** The library. Loaded once and never unloaded. */
export class Library extends EventEmitter {
  /**
   * @param folder holds KestrelbayGeneral.dll, KestrelbayGuard.dll and log.dll; by default the environment
   *   variable KESTRELBAY_LIBRARY_DIR
   */
  constructor(folder?: string);
  /** All installed applications, sorted by name. With `icons`, draws the icon of each executable. */
  list(options?: { icons?: boolean }): App[];
  /** Version of an application; null if it is not installed or has none. */
  version(name: string): string | null;
  facts(): Facts;
  /** Mebibytes free to the calling user on a drive such as "C:"; null if unknown. */
  freeSpace(drive: string): number | null;
  /**
   * Runs an installer elevated and waits until it ends. Installations run one after another. Main thread only, as
   * uninstall and stopWaiting.
   */
  install(installer: string, name: string, parameters?: string): Promise<Outcome>;
  /**
   * Runs the application's uninstall command and waits until the registry changes. Uninstallations run
   * one after another. Waits forever if the user cancels the command; only stopWaiting() ends that.
   */
  uninstall(name: string): Promise<Outcome>;
  /** Ends the wait of every job for the life of the process, which then refuses jobs. It cannot be undone. */
  stopWaiting(): void;
  /** Starts an installed application. Returns whether the start succeeded. */
  start(name: string, alias?: string): boolean;
  /** Starts a program without elevation. Returns whether it was started. */
  run(file: string, args?: string): boolean;
  /** Deletes the registry entry of an application; false for an unknown one. */
  forget(name: string): boolean;
  /** Protects a short secret for this user on this machine. */
  encrypt(secret: string): string;
  /** Returns the secret that encrypt() was called with. Throws if another program encrypted bytes that are no UTF-8. */
  decrypt(protectedText: string): string;
  /**
   * Emitted when a call returns and while a job runs, always on the thread of the event loop. If a listener throws, the
   * process emits a warning.
   */
  on(event: 'log', listener: (record: LogRecord) => void): this;
}
