// How operations end when the handler throws or says no. usage: Throws.exe URL DIRECTORY
using System;
using MtlHost;

static class Throws
{
    static void Expect(bool condition, string what)
    {
        if (!condition) throw new Exception(what);
    }

    static Exception Ending(string[] arguments, Func<Progress, bool> handler)
    {
        using (var library = new Library(arguments[0], arguments[1], handler))
        {
            try
            {
                library.Sync();
            }
            catch (Exception exception)
            {
                return exception;
            }
        }
        return null;
    }

    static void Main(string[] arguments)
    {
        var mine = new Exception("of the handler");
        Expect(Ending(arguments, _ => { throw mine; }) == mine, "the exception was lost");
        var cancelled = Ending(arguments, _ => false) as SyncException;
        Expect(cancelled != null && cancelled.Kind == Kind.Cancelled, "it was not cancelled");
        try
        {
            new Library("http://a\0b", "copy", _ => true);
            Expect(false, "a zero byte was taken");
        }
        catch (ArgumentException)
        {
        }
    }
}
