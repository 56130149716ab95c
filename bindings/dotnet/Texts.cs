using System;
using System.Runtime.InteropServices;
using System.Text;

namespace Kestrelbay
{
    /// <summary>Null-terminated texts of the library.</summary>
    static class Texts
    {
        /// <summary>Replaces nothing: throws if bytes are not UTF-8, or a text is not Unicode.</summary>
        internal static readonly Encoding Utf8 = new UTF8Encoding(false, true);

        internal static string Text(IntPtr text) { return Encoding.UTF8.GetString(BytesAt(text)); }

        internal static byte[] BytesAt(IntPtr text)
        {
            int length = 0;
            while (Marshal.ReadByte(text, length) != 0) ++length;
            var bytes = new byte[length];
            Marshal.Copy(text, bytes, 0, length);
            return bytes;
        }

        internal static byte[] PathBytes(string path, string what, int limit = int.MaxValue)
        {
            if (path != null && path.Contains("\""))
                throw new KestrelbayException(what + " contains a quotation mark: remove it, the library adds its own");
            return Bytes(path, what, limit);
        }

        internal static byte[] Bytes(string text, string what, int limit = int.MaxValue)
        {
            if (text == null) throw new ArgumentNullException(what);
            if (text.IndexOf('\0') >= 0) throw new KestrelbayException(what + " contains a null character: remove it");
            byte[] bytes;
            try
            {
                bytes = Utf8.GetBytes(text + "\0");
            }
            catch (EncoderFallbackException error)
            {
                throw new KestrelbayException(what + " is not valid Unicode text: " + error.Message);
            }
            if (bytes.Length - 1 > limit)
                throw new KestrelbayException(what + " has " + (bytes.Length - 1) + " bytes of UTF-8, but at most " +
                    limit + " are possible: shorten it");
            return bytes;
        }
    }
}
