//! Brings the copy of a library up to date. usage: sync URL DIRECTORY
mod mtlhost;

use std::env;
use std::process::ExitCode;

fn bring_up_to_date(url: &str, directory: &str) -> Result<(), mtlhost::Error> {
    let mut library = mtlhost::Library::open(url, directory, |progress| {
        match progress.bytes_total {
            Some(total) => println!("{}: {} of {} bytes", progress.phase, progress.bytes_done, total),
            None => println!("{}", progress.phase),
        }
        true // false cancels
    })?;
    if library.check()? {
        library.sync()?;
        println!("Updated.");
    } else {
        println!("Up to date.");
    }
    Ok(())
}

fn main() -> ExitCode {
    let arguments: Vec<String> = env::args().collect();
    if arguments.len() != 3 {
        return ExitCode::from(2);
    }
    match bring_up_to_date(&arguments[1], &arguments[2]) {
        Ok(()) => ExitCode::SUCCESS,
        Err(error) if error.kind == mtlhost::Kind::Cancelled => ExitCode::from(3),
        Err(error) => {
            eprintln!("{:?}: {}\n{}", error.kind, error, error.hint);
            ExitCode::FAILURE
        }
    }
}
