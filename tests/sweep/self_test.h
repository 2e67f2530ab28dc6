// That the sweep finds what it is there for.
#pragma once

/// Plants one wrong outcome after another in a run, and prints what the sweep does not report with just one
/// line. Whether it reports all.
bool finds_what_is_planted();
