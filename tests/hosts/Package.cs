// The .NET package: Package.exe LIBRARIES OTHER-LIBRARIES. Exceptions: Package.exe LIBRARIES
// On a machine without applications: Package.exe LIBRARIES --empty. On the machine outside: Package.exe LIBRARIES
// --outside.
// One folder that is refused: Package.exe --refuses FOLDER FRAGMENT
using System;
using System.Diagnostics;
using System.IO;
using System.Linq;
using System.Reflection;
using System.Runtime.InteropServices;
using System.Threading.Tasks;
using Kestrelbay;

static class Package
{
    static void Check(bool condition, string what)
    {
        if (!condition) throw new Exception("failed: " + what);
    }

    static void Refuses(string fragment, Action call)
    {
        try { call(); }
        catch (KestrelbayException error)
        {
            Check(error.Message.Contains(fragment), fragment + " is not in " + error.Message);
            return;
        }
        throw new Exception("not refused: " + fragment);
    }

    static void Main(string[] arguments)
    {
        if (arguments[0] == "--refuses")
        {
            Refuses(arguments[2], () => new Library(arguments[1]));
            return;
        }
        var library = new Library(arguments[0]);
        if (arguments.Contains("--empty")) Check(library.List().Count == 0 && library.List(true).Count == 0, "empty list");
        else if (arguments.Contains("--outside")) CheckOutside(library).GetAwaiter().GetResult();
        else if (arguments.Length > 1) CheckAll(library, arguments).GetAwaiter().GetResult();
        else SurviveExceptions(library);
    }

    static async Task CheckOutside(Library library)
    {
        KnowNoValueOutsideTheLanguage(library);
        await GiveRoomToAVersionThatOverrunsTheRecord(library);
    }

    static async Task GiveRoomToAVersionThatOverrunsTheRecord(Library library)
    {
        Outcome outcome = await library.InstallAsync("C:\\installer.exe", "Long version");
        Check(outcome.Message == "Update fail!" && outcome.Version == new string('日', 259), "room");
    }

    static void KnowNoValueOutsideTheLanguage(Library library)
    {
        var apps = library.List();
        Check(apps.Count == 4 && apps[0].Name == "Dated" && apps[0].Changed.Value.Year == 2024, "date");
        Check(apps[1].Name == "Far future" && apps[1].Changed == null, "date of the far future");
        Check(apps[2].Name == "Far past" && apps[2].Changed == null, "date of the far past");
        Check(library.Facts().HostFolder == null, "folder of the host with a character that the code page lacks");
    }

    // For another one the library deletes nothing, or the entry of another application.
    static void ForgetOnlyEntriesOfThe64BitView(Library library)
    {
        Func<string, int> count = name => library.List().Count(app => app.Name == name);
        foreach (string name in new[] { "Bramblefont Manager", "Confetti Chat \U0001F389" })
        {
            Refuses("of a user or of the 32-bit view", () => library.Forget(name));
            Check(count(name) == 2, "refusal to forget " + name);
        }
        Check(library.Forget("Umberline Accounting") && count("Umberline Accounting") == 0, "forget");
        Check(!library.Forget("Umberline Accounting"), "forget again");
    }

    // A process has one library: .NET would use the first one for a second folder.
    static void RefuseAnotherFolder(string folder, string other)
    {
        Refuses("already loaded from " + Path.GetFullPath(folder), () => new Library(other));
        Check(new Library(Path.Combine(folder, ".") + Path.DirectorySeparatorChar).List().Count == 45, "the same folder");
    }

    // A handler gets the records, whichever object takes them from the library.
    static void SendRecordsOfAllObjectsToEachHandler(string folder)
    {
        int first = 0, second = 0;
        EventHandler<LogEventArgs> one = (sender, record) => ++first, two = (sender, record) => ++second;
        Library.Log += one;
        Library.Log += two;
        new Library(folder).FreeSpace("C");
        Library.Log -= one;
        Library.Log -= two;
        Check(first > 0 && first == second, "records of another object");
    }

    [DllImport("KestrelbayGuard")] static extern int GuardEncrypt(byte[] input, out IntPtr output);

    // Another program may encrypt any bytes: no byte is replaced.
    static void RefuseSecretsThatAreNoText(Library library)
    {
        Refuses("the secret is empty", () => library.Encrypt(""));
        IntPtr hidden;
        Check(GuardEncrypt(new byte[] { 0xff, 0xff, 0xff, 0 }, out hidden) == 0, "encryption");
        Refuses("not UTF-8", () => library.Decrypt(Marshal.PtrToStringAnsi(hidden)));
    }

    // Its exception goes to the trace, and ends no call and no job.
    static async Task SurviveAHandlerThatThrows(Library library)
    {
        var traced = new StringWriter();
        var listener = new TextWriterTraceListener(traced);
        Trace.Listeners.Add(listener);
        EventHandler<LogEventArgs> fail = (sender, record) => { throw new InvalidOperationException("from a handler"); };
        int reached = 0;
        EventHandler<LogEventArgs> next = (sender, record) => ++reached;
        Library.Log += fail;
        Library.Log += next;
        Check(library.List().Count == 45, "list beside a handler that throws");
        var first = library.InstallAsync("C:\\no such file.exe", "a");
        var second = library.InstallAsync("C:\\no such file.exe", "b");
        Check((await second).Message == "Install path is not exist!" && first.IsCompleted, "jobs one after another");
        Check((await first).Message == "Install path is not exist!", "job beside a handler that throws");
        Library.Log -= fail;
        Library.Log -= next;
        Check(reached > 0, "the next handler");
        Trace.Listeners.Remove(listener);
        Check(traced.ToString().Contains("from a handler"), "trace");
    }

    static volatile bool isOver;

    // Raises without a call between, which the thread that removes would seldom meet at the right moment.
    static async Task SurviveAHandlerThatIsRemovedMeanwhile()
    {
        MethodInfo method = typeof(Library).GetMethod("Raise", BindingFlags.NonPublic | BindingFlags.Static);
        var raise = (Action<LogEventArgs>)Delegate.CreateDelegate(typeof(Action<LogEventArgs>), method);
        EventHandler<LogEventArgs> handler = (sender, record) => { };
        Task removes = Task.Run(() => { while (!isOver) { Library.Log += handler; Library.Log -= handler; } });
        for (int i = 0; i < 3000000; ++i) raise(null);
        isOver = true;
        await removes;
    }

    // The records of its calls wait for the next call: a handler does not get its own without end.
    static void LetAHandlerCallTheLibrary(Library library)
    {
        int calls = 0, depth = 0, deepest = 0, later = 0;
        EventHandler<LogEventArgs> call = (sender, record) =>
        {
            deepest = Math.Max(deepest, ++depth);
            if (++calls < 100) library.FreeSpace("C");
            --depth;
        };
        EventHandler<LogEventArgs> count = (sender, record) =>
            later += record.Text.Contains("enter GetDiskAvailableSpace") ? 1 : 0;
        Library.Log += call;
        library.Start("Nobody has this");
        Library.Log -= call;
        Check(calls > 0 && deepest == 1, "a handler that calls the library");
        Library.Log += count;
        library.Start("Nobody has this");
        Library.Log -= count;
        Check(later == calls, "records of the calls of a handler");
    }

    // It leaves shortly after it reports the results. A start takes half a second, and the pause does.
    static async Task EndAJobAfterItsThreadHasLeftTheLibrary(Library library)
    {
        var time = Stopwatch.StartNew();
        await library.InstallAsync("C:\\no such file.exe", "a");
        Check(time.ElapsedMilliseconds >= 950, "a job that ends before its thread has left the library");
    }

    static void SurviveExceptions(Library library)
    {
        for (int i = 0; i < 500; ++i)  // each call meets two exceptions
        {
            Facts facts = library.Facts();
            Check(facts.IsTablet == null && facts.Proxy == null, "exceptions");
        }
    }

    // Calls on this thread while jobs log on theirs: no deadlock.
    static async Task CallWhileJobsRun(Library library)
    {
        var jobs = new[] { library.InstallAsync("C:\\no such file.exe", "a"), library.InstallAsync("C:\\no such file.exe", "b") };
        while (!jobs.All(job => job.IsCompleted))
        {
            Check(library.FreeSpace("C") == 179200, "free space");
            library.List();
        }
        foreach (var job in jobs) Check((await job).Message == "Install path is not exist!", "message");
    }

    static object CallNative(string name, int argument)
    {
        Type native = typeof(Library).Assembly.GetType("Kestrelbay.Native");
        try { return native.GetMethod(name, BindingFlags.NonPublic | BindingFlags.Static).Invoke(null, new object[] { argument }); }
        catch (TargetInvocationException error) { throw error.InnerException; }
    }

    static async Task CheckAll(Library library, string[] arguments)
    {
        await SurviveAHandlerThatIsRemovedMeanwhile();
        LetAHandlerCallTheLibrary(library);
        await EndAJobAfterItsThreadHasLeftTheLibrary(library);
        int records = 0;
        Library.Log += (sender, record) => records += record.Text.Contains("GetInstalledAppList") ? 1 : 0;
        var apps = library.List(true);
        Check(apps.Count == 45 && apps.Any(app => app.Changed != null), "list");
        Check(apps.All(app => app.Icon == null || app.Icon[1] == 'P'), "icons");
        Check(library.Version("Inkwhistle PDF Viewer") != null && library.Version("Nobody has this") == null, "version");
        Check(library.Facts().Graphics == "Lumenfall G40,Basic Display Driver", "graphics");
        Check(library.FreeSpace("?") == null, "unknown drive");
        Check(library.Decrypt(library.Encrypt("sécret")) == "sécret", "secret");
        Check(!library.Start("Nobody has this") && !library.Forget("Nobody has this"), "unknown application");
        Check(records > 0, "log");
        await CallWhileJobsRun(library);

        RefuseAnotherFolder(arguments[0], arguments[1]);
        SendRecordsOfAllObjectsToEachHandler(arguments[0]);
        Refuses("build for x64", () => CallNative("CheckPointerSize", 4));
        CallNative("CheckPointerSize", 8);
        // A process for ARM64 has 8 bytes too: Windows then reports this error for the DLL.
        Check(((string)CallNative("ReasonOf", 193)).Contains("build for x64"), "advice for ARM64");
        Check(!((string)CallNative("ReasonOf", 5)).Contains("x64"), "another error");
        string tooLong = new string('é', 130);
        Refuses("the name has 260 bytes of UTF-8, but at most 259", () => library.UninstallAsync(tooLong));
        Refuses("the name has 260", () => library.InstallAsync("a.exe", tooLong));
        Refuses("the installer's path has 260", () => library.InstallAsync(tooLong, "a"));
        Refuses("the parameter text has 260", () => library.InstallAsync("a.exe", "a", tooLong));
        Outcome outcome = await library.UninstallAsync(new string('é', 129) + "e");
        Check(outcome.Message == "Get uninstall path is empty!", "259 bytes");
        Refuses("null character", () => library.Version("a\0b"));
        Refuses("not valid Unicode", () => library.Version("\ud800"));
        Refuses("not a text that this user", () => library.Decrypt("no protected text"));
        RefuseSecretsThatAreNoText(library);
        await SurviveAHandlerThatThrows(library);
        Refuses("the path contains a quotation mark", () => library.Run("\"a.exe\""));
        Refuses("the installer's path contains a quot", () => library.InstallAsync("\"a.exe\"", "a"));
        Check(library.Facts().HostFolder == "C:\\Program Files\\Baymarket", "folder of the host");
        ForgetOnlyEntriesOfThe64BitView(library);
        library.StopWaiting();
        Refuses("jobs cannot start after",
            () => library.InstallAsync("C:\\no such file.exe", "a").GetAwaiter().GetResult());
    }
}
