/// <reference types="node" />

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
  /** Bits of the registry view that has the entry; null if unknown. */
  architecture: 32 | 64 | null;
  /** As registered: the path of an icon or executable, often with an index. */
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
  /** Folder of node.exe; null if it has a character outside the code page. process.execPath has its whole path. */
  hostFolder: string | null;
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

/** The library. Loaded once for the process and never unloaded. */
export class Library {
  /**
   * @param folder holds KestrelbayGeneral.dll, KestrelbayGuard.dll and log.dll; by default the environment
   *   variable KESTRELBAY_LIBRARY_DIR. A process has one folder; another one throws, except in a worker thread that was
   *   started before the first load.
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
   * Runs an installer elevated and waits until it ends. Does not wait if the shell returns no process
   * handle. Installations run one after another. Main thread only, as uninstall and stopWaiting.
   */
  install(installer: string, name: string, parameters?: string): Promise<Outcome>;
  /**
   * Runs the application's uninstall command and waits until the registry changes. Uninstallations run
   * one after another. Waits forever if the user cancels the command; only stopWaiting() ends that.
   */
  uninstall(name: string): Promise<Outcome>;
  /** Ends the wait of every job for the life of the process, which then refuses jobs. It cannot be undone. */
  stopWaiting(): void;
  /**
   * Starts an installed application. Returns whether the start succeeded. Blocks the event loop while a person answers
   * the prompt for elevation. Leaves COM initialised on this thread, single-threaded.
   */
  start(name: string, alias?: string): boolean;
  /** Starts a program without elevation. Returns whether it was started. */
  run(file: string, args?: string): boolean;
  /**
   * Deletes the first entry of list() with this name; false for an unknown one. True may only mean that an elevated
   * command was started. Throws for an entry of a user or of the 32-bit view. Blocks as start().
   */
  forget(name: string): boolean;
  /** Protects a short secret for this user on this machine. */
  encrypt(secret: string): string;
  /** Returns the secret that encrypt() was called with. Throws if another program encrypted bytes that are not UTF-8. */
  decrypt(protectedText: string): string;
  /**
   * The listener gets the records of all objects on this thread, when a call returns and while a job runs. Without a
   * listener the library keeps the newest 4096 records. With listeners on several threads, each record goes to one
   * thread only. If a listener throws, the process emits a warning.
   */
  on(event: 'log', listener: (record: LogRecord) => void): this;
  off(event: 'log', listener: (record: LogRecord) => void): this;
}
