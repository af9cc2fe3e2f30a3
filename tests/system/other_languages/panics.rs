//! How operations end when the handler panics or says no. usage: panics URL DIRECTORY
#[allow(dead_code)]
#[path = "../../../examples/rust/mtlhost.rs"]
mod mtlhost;

use mtlhost::{Kind, Library};
use std::{env, panic};

fn main() {
    let arguments: Vec<String> = env::args().collect();
    let outcome = panic::catch_unwind(|| {
        let mut library =
            Library::open(&arguments[1], &arguments[2], |_| panic!("of the handler")).unwrap();
        library.sync()
    });
    let cause = outcome.expect_err("the panic was lost");
    assert_eq!(cause.downcast_ref::<&str>(), Some(&"of the handler"));

    let mut library = Library::open(&arguments[1], &arguments[2], |_| false).unwrap();
    assert_eq!(library.sync().unwrap_err().kind, Kind::Cancelled);

    let error = Library::open("http://a\0b", "copy", |_| true).err().unwrap();
    assert_eq!(error.kind, Kind::Settings);
}
