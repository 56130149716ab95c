using System;
using System.IO;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;
using System.Text;

namespace Kestrelbay
{
    /// <summary>The C functions of KestrelbayGuard.h. Loads their libraries.</summary>
    static class Native
    {
        const string Guard = "KestrelbayGuard";

        [DllImport(Guard)] internal static extern IntPtr GuardVersion();
        [DllImport(Guard)] internal static extern int GuardQueueLog();
        [DllImport(Guard)] internal static extern int GuardTakeLog(out int level, byte[] text, ref int size, out uint dropped);
        [DllImport(Guard)] internal static extern int GuardStartInstall(IntPtr job);
        [DllImport(Guard)] internal static extern int GuardStartUninstall(IntPtr job);
        [DllImport(Guard)] internal static extern int GuardSetStopAppEvent();
        [DllImport(Guard)] internal static extern int GuardGetManufacturer(byte[] buffer, ref int size);
        [DllImport(Guard)] internal static extern int GuardGetDeviceId(byte[] buffer, ref int size);
        [DllImport(Guard)] internal static extern int GuardGetProductName(byte[] buffer, ref int size);
        [DllImport(Guard)] internal static extern int GuardGetProxyServer(byte[] buffer, ref int size);
        [DllImport(Guard)] internal static extern int GuardGetGraphics(byte[] buffer, ref int size);
        [DllImport(Guard)] internal static extern int GuardGetAppVersion(byte[] name, byte[] key, byte[] buffer, ref int size);
        [DllImport(Guard)] internal static extern int GuardGetDiskAvailableSpace(byte[] path, out long mebibytes);
        [DllImport(Guard)] internal static extern int GuardIsTabletPC();
        // The only text in the system's ANSI code page, so a StringBuilder converts it.
        [DllImport(Guard, CharSet = CharSet.Ansi)]
        internal static extern int GuardGetRootDir(StringBuilder buffer, ref int size, uint mode);
        [DllImport(Guard)] internal static extern int GuardGetInstalledAppList(
            out IntPtr entries, out uint count, [MarshalAs(UnmanagedType.I1)] bool icons);
        [DllImport(Guard)] internal static extern int GuardReleaseInstalledAppList(ref IntPtr entries, int count);
        [DllImport(Guard)] internal static extern int GuardDeleteAppRegistryInfo(byte[] name);
        [DllImport(Guard)] internal static extern int GuardStartApp(byte[] name, byte[] alias);
        [DllImport(Guard)] internal static extern int GuardStartAnyExe(byte[] path, byte[] arguments);
        [DllImport(Guard)] internal static extern int GuardEncrypt(byte[] input, out IntPtr output);
        [DllImport(Guard)] internal static extern int GuardDecrypt(byte[] input, out IntPtr output);
        [DllImport("KestrelbayGeneral")] internal static extern void ReleaseDllStr(ref IntPtr text);

        [DllImport("kernel32", SetLastError = true, CharSet = CharSet.Unicode)]
        static extern IntPtr LoadLibraryExW(string path, IntPtr reserved, uint flags);
        [DllImport("libdl.so.2")] static extern IntPtr dlopen(string path, int flags);
        [DllImport("libdl.so.2")] static extern IntPtr dlerror();

        static string loadedFolder;  // a process has one library of a name

        internal static void CheckPointerSize(int bytes)
        {
            if (bytes != 8)
                throw new KestrelbayException("this is a 32-bit process, but the library is for x64: build for x64");
        }

        /// <summary>Loads the libraries by full path. The imports above then find them by name.</summary>
        [MethodImpl(MethodImplOptions.Synchronized)]
        internal static void Load(string folder)
        {
            CheckPointerSize(IntPtr.Size);
            bool isWindows = Path.DirectorySeparatorChar == '\\';
            string[] names = isWindows
                ? new[] { "log.dll", "KestrelbayGeneral.dll", "KestrelbayGuard.dll" }
                : new[] { "libkestrelbay_machine.so", "libKestrelbayGeneral.so", "libKestrelbayGuard.so" };
            if (!Directory.Exists(folder))
                throw new KestrelbayException(folder + " is not a folder: give the folder that holds " + string.Join(", ", names));
            foreach (string name in names)
            {
                if (!File.Exists(Path.Combine(folder, name)))
                    throw new KestrelbayException(name + " is missing in " + folder +
                        ": copy it there from the KestrelbayGeneral package");
            }
            string full = Path.GetFullPath(Path.Combine(folder, "."));
            var comparison = isWindows ? StringComparison.OrdinalIgnoreCase : StringComparison.Ordinal;
            if (loadedFolder != null && !full.Equals(loadedFolder, comparison))
                throw new KestrelbayException("the library is already loaded from " + loadedFolder + ": a process has one");
            foreach (string name in names)
            {
                string reason = Open(Path.Combine(full, name), isWindows);
                if (reason != null)
                    throw new KestrelbayException(name + " in " + folder + " cannot be loaded: " + reason +
                        ". Copy all libraries of one x64 KestrelbayGeneral package there");
                loadedFolder = full;
            }
        }

        /// <summary>Loads a library. Returns null, or the reason of the failure.</summary>
        static string Open(string path, bool isWindows)
        {
            const uint onlyItsFolderAndSystem32 = 0x100 | 0x800;
            const int now = 2, global = 0x100;
            if (!isWindows) return dlopen(path, now | global) != IntPtr.Zero ? null : Marshal.PtrToStringAnsi(dlerror());
            if (LoadLibraryExW(path, IntPtr.Zero, onlyItsFolderAndSystem32) != IntPtr.Zero) return null;
            return ReasonOf(Marshal.GetLastWin32Error());
        }

        internal static string ReasonOf(int error)
        {
            const int badFormat = 193;
            return error == badFormat ? "this is not an x64 process (build for x64), or the file is damaged"
                : new System.ComponentModel.Win32Exception(error).Message;
        }
    }
}
