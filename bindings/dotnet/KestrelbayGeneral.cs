using System;
using System.Collections.Generic;
using System.Linq;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;
using System.Text;
using System.Threading;
using System.Threading.Tasks;
using static Kestrelbay.Texts;

namespace Kestrelbay
{
    /// <summary>The library. Thread-safe. Loaded once for the process and never unloaded.</summary>
    public sealed partial class Library
    {
        const string PackageVersion = "1.0";
        const int FieldBytes = 260, RoomBytes = 1024, BufferBytes = 65536;
        const int PollMs = 20;
        const int PauseMs = 500;  // after a job, so that its thread can leave the library
        static readonly SemaphoreSlim oneInstall = new SemaphoreSlim(1, 1), oneUninstall = new SemaphoreSlim(1, 1);
        static volatile bool isStopped;

        /// <param name="folder">holds KestrelbayGeneral.dll, KestrelbayGuard.dll and log.dll; by default the
        /// environment variable KESTRELBAY_LIBRARY_DIR</param>
        /// <exception cref="KestrelbayException">the library cannot be loaded</exception>
        public Library(string folder = null)
        {
            folder = folder ?? Environment.GetEnvironmentVariable("KESTRELBAY_LIBRARY_DIR");
            if (string.IsNullOrEmpty(folder))
                throw new KestrelbayException("give the folder of KestrelbayGeneral.dll, or set KESTRELBAY_LIBRARY_DIR");
            Native.Load(folder);
            CheckVersion(folder);
        }

        // Not part of the constructor: mono loads a library when it compiles the method that calls it.
        [MethodImpl(MethodImplOptions.NoInlining)]
        void CheckVersion(string folder)
        {
            string found = "unknown";
            try
            {
                found = Text(Native.GuardVersion());
            }
            catch (EntryPointNotFoundException) { }  // without this function it has another version
            if (found != PackageVersion)
                throw new KestrelbayException("the libraries in " + folder + " have version " + found +
                    ", this package " + PackageVersion + ": install the same version of both");
            Call("QueueLog", Native.GuardQueueLog());
        }

        /// <summary>All installed applications, sorted by name.</summary>
        /// <param name="icons">draws the icon of each executable</param>
        public IReadOnlyList<App> List(bool icons = false)
        {
            IntPtr entries;
            uint count;
            Call("GetInstalledAppList", Native.GuardGetInstalledAppList(out entries, out count, icons));
            try
            {
                var apps = new List<App>();
                for (int i = 0; i < count; ++i) apps.Add(Entry.ToApp(entries + i * 8 * IntPtr.Size));
                return apps;
            }
            finally
            {
                Call("ReleaseInstalledAppList", Native.GuardReleaseInstalledAppList(ref entries, (int)count));
            }
        }

        /// <summary>Version of an application; null if it is not installed or has none.</summary>
        public string Version(string name)
        {
            byte[] text = Bytes(name, "the name");
            return Fact("GetAppVersion",
                (byte[] buffer, ref int size) => Native.GuardGetAppVersion(text, new byte[1], buffer, ref size));
        }

        /// <summary>Facts about the machine.</summary>
        public Facts Facts()
        {
            int tablet = Native.GuardIsTabletPC();
            if (tablet < -1) Call("IsTabletPC", tablet);
            return new Facts
            {
                Manufacturer = Fact("GetManufacturer", Native.GuardGetManufacturer),
                Product = Fact("GetProductName", Native.GuardGetProductName),
                DeviceId = Fact("GetDeviceId", Native.GuardGetDeviceId),
                Graphics = Fact("GetGraphics", Native.GuardGetGraphics),
                Proxy = Fact("GetProxyServer", Native.GuardGetProxyServer),
                HostFolder = HostFolder(),
                IsTablet = tablet < 0 ? (bool?)null : tablet == 1,
            };
        }

        /// <summary>Mebibytes free to the calling user on a drive such as "C:"; null if unknown.</summary>
        public long? FreeSpace(string drive)
        {
            long mebibytes;
            Call("GetDiskAvailableSpace", Native.GuardGetDiskAvailableSpace(Bytes(drive, "the drive"), out mebibytes));
            return mebibytes < 0 ? (long?)null : mebibytes;
        }

        /// <summary>Runs an installer elevated and waits until it ends. Does not wait if the shell starts it without a
        /// handle of its process. Installations run one after another.</summary>
        public Task<Outcome> InstallAsync(string installer, string name, string parameters = "")
        {
            const int limit = FieldBytes - 1;
            return RunJob("StartInstall", oneInstall, Native.GuardStartInstall, new[] {
                PathBytes(installer, "the installer's path", limit), Bytes(name, "the name", limit), new byte[1],
                Bytes(parameters, "the parameter text", limit), new byte[1], new byte[1], new byte[1] }, 4, 6);
        }

        /// <summary>Runs the application's uninstall command and waits until the registry changes. Uninstallations
        /// run one after another. Waits forever if the user cancels the command; only StopWaiting ends that.</summary>
        public Task<Outcome> UninstallAsync(string name)
        {
            return RunJob("StartUninstall", oneUninstall, Native.GuardStartUninstall, new[] {
                Bytes(name, "the name", FieldBytes - 1), new byte[1], new byte[1], new byte[1] }, 2, -1);
        }

        /// <summary>Ends the wait of every job for the life of the process, which then refuses jobs. It cannot be
        /// undone.</summary>
        public void StopWaiting()
        {
            isStopped = true;
            Call("SetStopAppEvent", Native.GuardSetStopAppEvent());
        }

        /// <summary>Starts an installed application. Returns whether the start succeeded. Blocks while a person answers
        /// the prompt for elevation. Leaves COM initialised on this thread, single-threaded.</summary>
        public bool Start(string name, string alias = "")
        {
            return Call("StartApp", Native.GuardStartApp(Bytes(name, "the name"), Bytes(alias, "the alias"))) == 1;
        }

        /// <summary>Starts a program without elevation. Returns whether it was started.</summary>
        public bool Run(string path, string arguments = "")
        {
            return Call("StartAnyExe",
                Native.GuardStartAnyExe(PathBytes(path, "the path"), Bytes(arguments, "the arguments"))) == 1;
        }

        /// <summary>Deletes the first entry of List() with this name; false for an unknown one. True may only mean that
        /// an elevated command was started. Throws for an entry of a user or of the 32-bit view. Blocks as Start.</summary>
        public bool Forget(string name)
        {
            byte[] text = Bytes(name, "the name");
            App first = List().FirstOrDefault(app => app.Name == name);
            if (first != null && first.Architecture != 64)
                throw new KestrelbayException("this entry is of a user or of the 32-bit view: the library cannot delete it");
            return Call("DeleteAppRegistryInfo", Native.GuardDeleteAppRegistryInfo(text)) == 1;
        }

        /// <summary>Protects a short secret for this user on this machine.</summary>
        public string Encrypt(string secret)
        {
            if (secret == "") throw new KestrelbayException("the secret is empty: Decrypt could not return it");
            return Transform("Encrypt", Native.GuardEncrypt, secret, "the secret could not be protected");
        }

        /// <summary>Returns the secret that Encrypt was called with.</summary>
        public string Decrypt(string protectedText)
        {
            return Transform("Decrypt", Native.GuardDecrypt, protectedText,
                "this is not a text that this user on this machine protected");
        }

        delegate int BufferFunction(byte[] buffer, ref int size);
        delegate int TextFunction(byte[] input, out IntPtr output);

        string Transform(string name, TextFunction function, string text, string failure)
        {
            IntPtr output;
            Call(name, function(Bytes(text, "the text"), out output));
            byte[] result = BytesAt(output);
            Marshal.Copy(new byte[result.Length], 0, output, result.Length);
            Native.ReleaseDllStr(ref output);
            if (result.Length == 0) throw new KestrelbayException(failure);
            try
            {
                return Utf8.GetString(result);
            }
            catch (DecoderFallbackException)
            {
                throw new KestrelbayException("the secret is not UTF-8: decrypt it with the program that encrypted it");
            }
            finally
            {
                Array.Clear(result, 0, result.Length);
            }
        }

        string HostFolder()
        {
            var buffer = new StringBuilder(BufferBytes);
            int size = BufferBytes;
            Call("GetRootDir", Native.GuardGetRootDir(buffer, ref size, 2));
            // For a character outside the code page; no path contains it.
            return buffer.ToString().Contains("?") ? null : buffer.ToString();
        }

        string Fact(string name, BufferFunction function)
        {
            var buffer = new byte[BufferBytes];
            int size = BufferBytes;
            int status = function(buffer, ref size);
            if (status < -1) Call(name, status);
            ForwardLog();
            return status == 1 ? Encoding.UTF8.GetString(buffer, 0, size) : null;
        }

        async Task<Outcome> RunJob(string name, SemaphoreSlim one, Func<IntPtr, int> start, byte[][] fields,
                                   int result, int version)
        {
            await one.WaitAsync().ConfigureAwait(false);
            int finished = fields.Length * FieldBytes + RoomBytes;
            try
            {
                if (isStopped)
                    throw new KestrelbayException("jobs cannot start after StopWaiting: use another process");
                // Not released if the start fails: the library still has its address.
                IntPtr job = Marshal.AllocHGlobal(finished + 4);
                Marshal.Copy(new byte[finished + 4], 0, job, finished + 4);
                for (int i = 0; i < fields.Length; ++i) Marshal.Copy(fields[i], 0, job + i * FieldBytes, fields[i].Length);
                Call(name, await Task.Run(() => start(job)).ConfigureAwait(false));
                while (Marshal.ReadInt32(job, finished) == 0)
                {
                    await Task.Delay(PollMs).ConfigureAwait(false);
                    ForwardLog();
                }
                await Task.Delay(PauseMs).ConfigureAwait(false);
                ForwardLog();
                var outcome = new Outcome
                {
                    Result = Text(job + result * FieldBytes), Message = Text(job + (result + 1) * FieldBytes),
                    Version = version < 0 ? "" : Text(job + version * FieldBytes),
                };
                Marshal.FreeHGlobal(job);
                return outcome;
            }
            finally
            {
                one.Release();
            }
        }

        int Call(string name, int status)
        {
            ForwardLog();
            if (status >= 0) return status;
            throw new KestrelbayException(name + ": " + (
                status == -1 ? "the machine's setting is missing or not a number" :
                status == -2 ? "out of memory" :
                status == -3 ? "a thread could not be started" : "unexpected exception in the library"));
        }
    }
}
