// Bindings to mtllib's C interface, written by hand for what this example uses: check, sync,
// progress, cancelling and failures. mtlhost.h describes all of it.
using System;
using System.Runtime.ExceptionServices;
using System.Runtime.InteropServices;
using System.Text;

namespace MtlHost
{
    /// <summary>What a failure is about, in the order of MTLHOST_KIND_...</summary>
    public enum Kind
    {
        Other, Settings, Address, Name, Connection, Certificate, Proxy, Answer, Content, Untrusted,
        Disk, Permission, Busy, Limit, Cancelled, Module, Memory
    }

    /// <summary>A failure. The message is a sentence for users.</summary>
    public sealed class SyncException : Exception
    {
        internal SyncException(IntPtr error) : base(Native.Text(Native.mtlhost_error_sentence(error)))
        {
            int kind = Native.mtlhost_error_kind(error);
            Kind = Enum.IsDefined(typeof(Kind), kind) ? (Kind)kind : Kind.Other;
            Hint = Native.Text(Native.mtlhost_error_hint(error));
        }

        public Kind Kind { get; private set; }

        /// <summary>What to do about it; "" when there is nothing to say.</summary>
        public string Hint { get; private set; }
    }

    /// <summary>How far an operation is.</summary>
    public struct Progress
    {
        /// <summary>What it is doing: "Downloading files".</summary>
        public string Phase;

        public long BytesDone;

        /// <summary>In this phase; -1 when it is not known.</summary>
        public long BytesTotal;
    }

    /// <summary>A remote library and its local copy. Used by one thread at a time.</summary>
    public sealed class Library : IDisposable
    {
        readonly Func<Progress, bool> handler;
        readonly Native.Callback callback;  // The library calls it for as long as it is open.
        readonly Native.LibraryHandle handle;
        ExceptionDispatchInfo thrown;

        /// <summary>
        /// The handler is called about ten times a second during an operation, on the calling thread
        /// and on one of the library's, never on two at a time. If it returns false, the operation
        /// ends within 200 ms, as Kind.Cancelled. If it throws, the operation ends too, and the
        /// exception is thrown again where the operation was called.
        /// </summary>
        public Library(string address, string directory, Func<Progress, bool> handler)
        {
            this.handler = handler;
            callback = Forward;
            var options = new Native.Options();
            IntPtr problem;
            int code;
            try
            {
                options.Size = (UIntPtr)Marshal.SizeOf(typeof(Native.Options));
                options.RemoteAddress = Native.Utf8(address);
                options.TargetDirectory = Native.Utf8(directory);
                options.Callback = Marshal.GetFunctionPointerForDelegate(callback);
                code = Native.mtlhost_open(ref options, out handle, out problem);
            }
            finally
            {
                Marshal.FreeHGlobal(options.RemoteAddress);
                Marshal.FreeHGlobal(options.TargetDirectory);
            }
            if (code == 0) return;
            var failure = new SyncException(problem);
            Native.mtlhost_free_error(problem);
            throw failure;
        }

        public void Dispose()
        {
            handle.Dispose();
        }

        /// <summary>Whether there is an update. Writes nothing.</summary>
        public bool Check()
        {
            return Finish(Native.mtlhost_check(handle)) == Native.UpdateAvailable;
        }

        /// <summary>
        /// Brings the copy up to date. If it fails, the next one continues from there.
        /// </summary>
        public void Sync()
        {
            Finish(Native.mtlhost_sync(handle));
        }

        int Finish(int code)
        {
            ExceptionDispatchInfo first = thrown;
            thrown = null;
            if (first != null) first.Throw();
            if (code == Native.WrongUse) throw new InvalidOperationException("Another operation is under way.");
            if (code < 0) throw new SyncException(Native.mtlhost_last_error(handle));
            return code;
        }

        // An exception must not unwind into C.
        int Forward(ref Native.Event what, IntPtr user)
        {
            if (thrown != null) return 1;
            if (what.Kind != Native.EventProgress) return 0;
            try
            {
                var progress = new Progress
                {
                    Phase = Native.Text(what.Text),
                    BytesDone = what.BytesDone,
                    BytesTotal = what.BytesTotal
                };
                return handler(progress) ? 0 : 1;
            }
            catch (Exception exception)
            {
                thrown = ExceptionDispatchInfo.Capture(exception);
                return 1;
            }
        }
    }

    // As mtlhost.h has them. Records begin with their size and grow only at the end, so these may
    // stop after the last field that is used.
    static class Native
    {
        const string File = "mtlhost";  // libmtlhost.so, mtlhost.dll

        internal const int UpdateAvailable = 1;
        internal const int WrongUse = -3;
        internal const int EventProgress = 5;

        [StructLayout(LayoutKind.Sequential)]
        internal struct Event
        {
            internal UIntPtr Size;
            internal int Kind;
            internal int Permille;
            internal long MegabytesDone;
            internal long MegabytesTotal;
            internal IntPtr Text;
            internal IntPtr Error;
            internal long BytesDone;
            internal long BytesTotal;
        }

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate int Callback(ref Event what, IntPtr user);

        [StructLayout(LayoutKind.Sequential)]
        internal struct Options
        {
            internal UIntPtr Size;
            internal IntPtr ModuleFile;
            internal IntPtr RemoteAddress;
            internal IntPtr TargetDirectory;
            internal IntPtr SubPath;
            internal int ProxyMode;
            internal IntPtr ProxyAddress;
            internal IntPtr Callback;
            internal IntPtr User;
        }

        internal sealed class LibraryHandle : SafeHandle
        {
            LibraryHandle() : base(IntPtr.Zero, true) { }

            public override bool IsInvalid
            {
                get { return handle == IntPtr.Zero; }
            }

            protected override bool ReleaseHandle()
            {
                mtlhost_close(handle);
                return true;
            }
        }

        [DllImport(File, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int mtlhost_open(
            ref Options options, out LibraryHandle library, out IntPtr error);

        [DllImport(File, CallingConvention = CallingConvention.Cdecl)]
        static extern void mtlhost_close(IntPtr library);

        [DllImport(File, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int mtlhost_check(LibraryHandle library);

        [DllImport(File, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int mtlhost_sync(LibraryHandle library);

        [DllImport(File, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr mtlhost_last_error(LibraryHandle library);

        [DllImport(File, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int mtlhost_error_kind(IntPtr error);

        [DllImport(File, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr mtlhost_error_sentence(IntPtr error);

        [DllImport(File, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr mtlhost_error_hint(IntPtr error);

        [DllImport(File, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void mtlhost_free_error(IntPtr error);

        // The runtime's own conversions use another encoding on Windows.
        internal static string Text(IntPtr text)
        {
            int length = 0;
            while (Marshal.ReadByte(text, length) != 0) ++length;
            var bytes = new byte[length];
            Marshal.Copy(text, bytes, 0, length);
            return Encoding.UTF8.GetString(bytes);
        }

        internal static IntPtr Utf8(string text)
        {
            if (text.IndexOf('\0') >= 0) throw new ArgumentException("a zero byte in: " + text);
            byte[] bytes = Encoding.UTF8.GetBytes(text + '\0');
            IntPtr copy = Marshal.AllocHGlobal(bytes.Length);
            Marshal.Copy(bytes, 0, copy, bytes.Length);
            return copy;
        }
    }
}
