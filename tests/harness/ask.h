// Asks the program for a test, as its server does when a request has arrived.
#pragma once

/// Puts the program's own state back to what it is after its start. The board must be there.
void start_anew();

/// Runs the test of `code`, with a parameter that the tests with an entry take. What it replies goes to the
/// station.
void ask(int code);
