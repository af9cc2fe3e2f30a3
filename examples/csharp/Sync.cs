// Brings the copy of a library up to date. usage: Sync.exe URL DIRECTORY
using System;
using MtlHost;

static class Sync
{
    static void BringUpToDate(string url, string directory)
    {
        Func<Progress, bool> show = progress =>
        {
            if (progress.BytesTotal < 0) Console.WriteLine(progress.Phase);
            else Console.WriteLine("{0}: {1} of {2} bytes", progress.Phase, progress.BytesDone, progress.BytesTotal);
            return true;  // false cancels
        };
        using (var library = new Library(url, directory, show))
        {
            if (library.Check())
            {
                library.Sync();
                Console.WriteLine("Updated.");
            }
            else
            {
                Console.WriteLine("Up to date.");
            }
        }
    }

    static int Main(string[] arguments)
    {
        if (arguments.Length != 2) return 2;
        try
        {
            BringUpToDate(arguments[0], arguments[1]);
            return 0;
        }
        catch (SyncException failure)
        {
            if (failure.Kind == Kind.Cancelled) return 3;
            Console.Error.WriteLine("{0}: {1}\n{2}", failure.Kind, failure.Message, failure.Hint);
            return 1;
        }
    }
}
