//! Bindings to mtllib's C interface, written by hand for what this example uses: check, sync,
//! progress, cancelling and failures. `mtlhost.h` describes all of it.

use std::any::Any;
use std::ffi::{c_void, CStr, CString};
use std::fmt;
use std::os::raw::c_char;
use std::panic::{self, AssertUnwindSafe};
use std::ptr;

/// As `mtlhost.h` has them. Records begin with their size and grow only at the end, so these may
/// stop after the last field that is used.
#[allow(dead_code)] // Fields between those that are used.
mod c {
    use super::{c_char, c_void};

    pub const UPDATE_AVAILABLE: i32 = 1;
    pub const EVENT_PROGRESS: i32 = 5;

    pub enum Library {}
    pub enum Error {}

    #[repr(C)]
    pub struct Event {
        pub size: usize,
        pub kind: i32,
        pub permille: i32,
        pub megabytes_done: i64,
        pub megabytes_total: i64,
        pub text: *const c_char,
        pub error: *const Error,
        pub bytes_done: i64,
        pub bytes_total: i64,
    }

    #[repr(C)]
    pub struct Options {
        pub size: usize,
        pub module_file: *const c_char,
        pub remote_address: *const c_char,
        pub target_directory: *const c_char,
        pub sub_path: *const c_char,
        pub proxy_mode: i32,
        pub proxy_address: *const c_char,
        pub callback: extern "C" fn(event: *const Event, user: *mut c_void) -> i32,
        pub user: *mut c_void,
    }

    #[link(name = "mtlhost")]
    extern "C" {
        pub fn mtlhost_open(
            options: *const Options,
            library: *mut *mut Library,
            error: *mut *mut Error,
        ) -> i32;
        pub fn mtlhost_close(library: *mut Library);
        pub fn mtlhost_check(library: *mut Library) -> i32;
        pub fn mtlhost_sync(library: *mut Library) -> i32;
        pub fn mtlhost_last_error(library: *const Library) -> *const Error;
        pub fn mtlhost_error_kind(error: *const Error) -> i32;
        pub fn mtlhost_error_sentence(error: *const Error) -> *const c_char;
        pub fn mtlhost_error_hint(error: *const Error) -> *const c_char;
        pub fn mtlhost_free_error(error: *mut Error);
    }
}

/// What a failure is about, in the order of `MTLHOST_KIND_...`.
#[derive(Clone, Copy, Debug, PartialEq, Eq)]
pub enum Kind {
    Other,
    Settings,
    Address,
    Name,
    Connection,
    Certificate,
    Proxy,
    Answer,
    Content,
    Untrusted,
    Disk,
    Permission,
    Busy,
    Limit,
    Cancelled,
    Module,
    Memory,
}

const KINDS: [Kind; 17] = [
    Kind::Other,
    Kind::Settings,
    Kind::Address,
    Kind::Name,
    Kind::Connection,
    Kind::Certificate,
    Kind::Proxy,
    Kind::Answer,
    Kind::Content,
    Kind::Untrusted,
    Kind::Disk,
    Kind::Permission,
    Kind::Busy,
    Kind::Limit,
    Kind::Cancelled,
    Kind::Module,
    Kind::Memory,
];

/// A failure, for users: what happened, and what to do about it ("" when there is nothing to say).
#[derive(Debug)]
pub struct Error {
    pub kind: Kind,
    pub sentence: String,
    pub hint: String,
}

impl Error {
    /// # Safety
    /// `error` is null, or one that the library gave out and that is still valid.
    unsafe fn from_c(error: *const c::Error) -> Self {
        let kind = usize::try_from(c::mtlhost_error_kind(error)).ok();
        Self {
            kind: kind.and_then(|i| KINDS.get(i).copied()).unwrap_or(Kind::Other),
            sentence: text(c::mtlhost_error_sentence(error)),
            hint: text(c::mtlhost_error_hint(error)),
        }
    }
}

impl fmt::Display for Error {
    fn fmt(&self, formatter: &mut fmt::Formatter) -> fmt::Result {
        formatter.write_str(&self.sentence)
    }
}

impl std::error::Error for Error {}

/// # Safety
/// `text` is one that the library gave out and that is still valid.
unsafe fn text(text: *const c_char) -> String {
    CStr::from_ptr(text).to_string_lossy().into_owned()
}

/// The library copies what it gets; a text of C ends at its first zero byte.
fn c_text(text: &str) -> Result<CString, Error> {
    CString::new(text).map_err(|_| Error {
        kind: Kind::Settings,
        sentence: format!("{:?} holds a zero byte.", text),
        hint: String::new(),
    })
}

/// How far an operation is.
pub struct Progress {
    /// What it is doing: "Downloading files".
    pub phase: String,
    pub bytes_done: i64,
    /// In this phase; `None` when it is not known.
    pub bytes_total: Option<i64>,
}

struct Observer<'a> {
    handler: Box<dyn FnMut(&Progress) -> bool + Send + 'a>,
    panic: Option<Box<dyn Any + Send>>,
}

/// A remote library and its local copy. Used by one thread at a time.
pub struct Library<'a> {
    handle: *mut c::Library,
    observer: *mut Observer<'a>,
}

// SAFETY: the library lets any thread use the handle, one at a time, and the handler is Send.
unsafe impl Send for Library<'_> {}

impl<'a> Library<'a> {
    /// `handler` is called about ten times a second during an operation, on the calling thread and
    /// on one of the library's, never on two at a time. If it returns false, the operation ends
    /// within 200 ms, as `Kind::Cancelled`. If it panics, the operation ends too, and the panic
    /// continues where the operation was called.
    pub fn open(
        address: &str,
        directory: &str,
        handler: impl FnMut(&Progress) -> bool + Send + 'a,
    ) -> Result<Self, Error> {
        let address = c_text(address)?;
        let directory = c_text(directory)?;
        let mut library = Self {
            handle: ptr::null_mut(),
            observer: Box::into_raw(Box::new(Observer { handler: Box::new(handler), panic: None })),
        };
        let options = c::Options {
            size: std::mem::size_of::<c::Options>(),
            module_file: ptr::null(),
            remote_address: address.as_ptr(),
            target_directory: directory.as_ptr(),
            sub_path: ptr::null(),
            proxy_mode: 0,
            proxy_address: ptr::null(),
            callback: forward,
            user: library.observer.cast(),
        };
        let mut problem = ptr::null_mut();
        // SAFETY: all texts outlive the call, and the observer outlives the handle.
        unsafe {
            if c::mtlhost_open(&options, &mut library.handle, &mut problem) == 0 {
                return Ok(library);
            }
            let error = Error::from_c(problem);
            c::mtlhost_free_error(problem);
            Err(error)
        }
    }

    /// Whether there is an update. Writes nothing.
    pub fn check(&mut self) -> Result<bool, Error> {
        // SAFETY: the handle is open, and `self` is borrowed for this call alone.
        let code = unsafe { c::mtlhost_check(self.handle) };
        Ok(self.finish(code)? == c::UPDATE_AVAILABLE)
    }

    /// Brings the copy up to date. If it fails, the next one continues from there.
    pub fn sync(&mut self) -> Result<(), Error> {
        // SAFETY: as for check().
        let code = unsafe { c::mtlhost_sync(self.handle) };
        self.finish(code).map(|_| ())
    }

    fn finish(&mut self, code: i32) -> Result<i32, Error> {
        // SAFETY: no operation is under way, so nobody else uses the observer or the error.
        unsafe {
            if let Some(panic) = (*self.observer).panic.take() {
                panic::resume_unwind(panic);
            }
            if code >= 0 {
                return Ok(code);
            }
            Err(Error::from_c(c::mtlhost_last_error(self.handle)))
        }
    }
}

impl Drop for Library<'_> {
    fn drop(&mut self) {
        // SAFETY: both were made by open(), the handle may be null, and neither is used afterwards.
        unsafe {
            c::mtlhost_close(self.handle);
            drop(Box::from_raw(self.observer));
        }
    }
}

/// Hands progress to the handler. A panic must not unwind into C.
extern "C" fn forward(event: *const c::Event, user: *mut c_void) -> i32 {
    // SAFETY: the library passes a valid event and the observer of open(), one call at a time.
    let (event, observer) = unsafe { (&*event, &mut *user.cast::<Observer>()) };
    if observer.panic.is_some() {
        return 1;
    }
    if event.kind != c::EVENT_PROGRESS {
        return 0;
    }
    let progress = Progress {
        // SAFETY: the text is valid during the call.
        phase: unsafe { text(event.text) },
        bytes_done: event.bytes_done,
        bytes_total: Some(event.bytes_total).filter(|total| *total >= 0),
    };
    match panic::catch_unwind(AssertUnwindSafe(|| (observer.handler)(&progress))) {
        Ok(goes_on) => i32::from(!goes_on),
        Err(panic) => {
            observer.panic = Some(panic);
            1
        }
    }
}
