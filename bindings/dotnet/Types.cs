using System;

[assembly: System.Reflection.AssemblyVersion("1.0.0.0")]

namespace Kestrelbay
{
    /// <summary>A call that cannot be made or that failed. The message says what is wrong and what to do.</summary>
    public sealed class KestrelbayException : Exception
    {
        public KestrelbayException(string message) : base(message) { }
    }

    /// <summary>An installed application. A text that the registry lacks is empty.</summary>
    public sealed class App
    {
        public string Name { get; internal set; }
        public string Version { get; internal set; }
        /// <summary>Folder as registered, unchecked.</summary>
        public string Location { get; internal set; }
        /// <summary>As registered, mostly YYYYMMDD.</summary>
        public string InstallDate { get; internal set; }
        /// <summary>Last change of the registry entry.</summary>
        public DateTimeOffset? Changed { get; internal set; }
        /// <summary>32 or 64; null if unknown.</summary>
        public int? Architecture { get; internal set; }
        public string IconSource { get; internal set; }
        /// <summary>PNG, if the list was made with icons and one was drawn.</summary>
        public byte[] Icon { get; internal set; }
        /// <summary>Path of an icon file; null if there is none.</summary>
        public string IconPath { get; internal set; }
    }

    /// <summary>The machine. A fact that the machine does not have is null.</summary>
    public sealed class Facts
    {
        public string Manufacturer { get; internal set; }
        public string Product { get; internal set; }
        public string DeviceId { get; internal set; }
        public string Graphics { get; internal set; }
        public string Proxy { get; internal set; }
        public bool? IsTablet { get; internal set; }
        /// <summary>Folder of the program that runs; null if it has a character outside the code page.</summary>
        public string HostFolder { get; internal set; }
    }

    /// <summary>How an installation or an uninstallation ended.</summary>
    public sealed class Outcome
    {
        public bool Success { get { return Result == "Success"; } }
        /// <summary>"Success", "Fail" or "Cancel".</summary>
        public string Result { get; internal set; }
        public string Message { get; internal set; }
        /// <summary>Version found after an installation.</summary>
        public string Version { get; internal set; }
    }

    public sealed class LogEventArgs : EventArgs
    {
        /// <summary>3 information, 4 warning, 5 error.</summary>
        public int Level { get; internal set; }
        public string Text { get; internal set; }
    }
}
