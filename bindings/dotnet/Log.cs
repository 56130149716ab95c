#define TRACE
using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Text;

namespace Kestrelbay
{
    public sealed partial class Library
    {
        [ThreadStatic] static bool isForwarding;

        /// <summary>Raised for all objects, on the thread of a call when it returns, and on other threads while a job
        /// runs. Has no sender. An exception of a handler goes to System.Diagnostics.Trace.</summary>
        public static event EventHandler<LogEventArgs> Log;

        // Records of calls that a handler makes wait for the next call: the handler would get its own without end.
        void ForwardLog()
        {
            if (isForwarding) return;
            isForwarding = true;
            try
            {
                foreach (LogEventArgs record in TakeLog()) Raise(record);
            }
            finally
            {
                isForwarding = false;
            }
        }

        List<LogEventArgs> TakeLog()
        {
            var records = new List<LogEventArgs>();
            var text = new byte[BufferBytes];
            for (;;)
            {
                int level, size = text.Length;
                uint dropped;
                int taken = Native.GuardTakeLog(out level, text, ref size, out dropped);
                if (dropped != 0) records.Add(new LogEventArgs { Level = 4, Text = dropped + " log records were dropped" });
                if (taken == 0) return records;
                if (taken < 0) text = new byte[size];
                else records.Add(new LogEventArgs { Level = level, Text = Encoding.UTF8.GetString(text, 0, size - 1) });
            }
        }

        static void Raise(LogEventArgs record)
        {
            var handlers = Log;  // read once: another thread may remove the last handler
            if (handlers == null) return;
            foreach (EventHandler<LogEventArgs> handler in handlers.GetInvocationList())
            {
                try
                {
                    handler(null, record);
                }
                catch (Exception error)  // would break off a job, or a call that has something to release
                {
                    Trace.TraceError("a handler of the log failed: " + error);
                }
            }
        }
    }
}
