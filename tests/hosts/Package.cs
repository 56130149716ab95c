// The .NET package: Package.exe LIBRARIES BAD-FOLDERS. Exceptions: Package.exe LIBRARIES
// One folder that is refused: Package.exe --refuses FOLDER FRAGMENT
using System;
using System.Linq;
using System.Reflection;
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
        if (arguments.Length > 1) CheckAll(library, arguments).GetAwaiter().GetResult();
        else SurviveExceptions(library);
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

    // The package's own check before it loads anything.
    static void CheckPointerSize(int bytes)
    {
        Type native = typeof(Library).Assembly.GetType("Kestrelbay.Native");
        try { native.GetMethod("CheckPointerSize", BindingFlags.NonPublic | BindingFlags.Static).Invoke(null, new object[] { bytes }); }
        catch (TargetInvocationException error) { throw error.InnerException; }
    }

    static async Task CheckAll(Library library, string[] arguments)
    {
        int records = 0;
        library.Log += (sender, record) => records += record.Text.Contains("GetInstalledAppList") ? 1 : 0;
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

        Refuses("is no folder", () => new Library(arguments[0] + "/nowhere"));
        Refuses("is missing in", () => new Library(arguments[1] + "/incomplete"));
        Refuses("cannot be loaded", () => new Library(arguments[1] + "/broken"));
        Refuses("build for x64", () => CheckPointerSize(4));
        CheckPointerSize(8);
        string tooLong = new string('é', 130);
        Refuses("the name has 260 bytes of UTF-8, but at most 259", () => library.UninstallAsync(tooLong));
        Refuses("the name has 260", () => library.InstallAsync("a.exe", tooLong));
        Refuses("the installer's path has 260", () => library.InstallAsync(tooLong, "a"));
        Refuses("the parameter text has 260", () => library.InstallAsync("a.exe", "a", tooLong));
        Outcome outcome = await library.UninstallAsync(new string('é', 129) + "e");
        Check(outcome.Message == "Get uninstall path is empty!", "259 bytes");
        Refuses("null character", () => library.Version("a\0b"));
        Refuses("no valid Unicode", () => library.Version("\ud800"));
        Refuses("no text that this user", () => library.Decrypt("no protected text"));
    }
}
