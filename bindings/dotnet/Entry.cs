using System;
using System.Globalization;
using System.Runtime.InteropServices;
using static Kestrelbay.Texts;

namespace Kestrelbay
{
    /// <summary>A record InstalledAppEntry of the library.</summary>
    static class Entry
    {
        const long NeverWritten = -11644473600000;
        const string Png = "data:image/png;base64,";
        static readonly DateTimeOffset epoch = new DateTimeOffset(1970, 1, 1, 0, 0, 0, TimeSpan.Zero);

        internal static App ToApp(IntPtr entry)
        {
            Func<int, string> field = i => Text(Marshal.ReadIntPtr(entry, i * IntPtr.Size));
            string icon = field(4);
            bool isPicture = icon.StartsWith(Png, StringComparison.Ordinal);
            long changed = long.Parse(field(6), CultureInfo.InvariantCulture);
            int architecture = Marshal.ReadInt32(entry, 7 * IntPtr.Size);
            return new App
            {
                Name = field(0), Location = field(1), Version = field(2), IconSource = field(3), InstallDate = field(5),
                // A time that cannot be read, or is not in the years 1 to 9999, is unknown.
                Changed = changed == NeverWritten || changed > (DateTimeOffset.MaxValue - epoch).TotalMilliseconds ||
                    changed < (DateTimeOffset.MinValue - epoch).TotalMilliseconds
                    ? (DateTimeOffset?)null : epoch.AddMilliseconds(changed),
                Architecture = architecture == 1 ? 32 : architecture == 2 ? 64 : (int?)null,
                Icon = isPicture ? Convert.FromBase64String(icon.Substring(Png.Length)) : null,
                IconPath = icon.Length > 0 && !isPicture ? icon : null,
            };
        }
    }
}
