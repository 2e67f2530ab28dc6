// The version of the project.
#pragma once

namespace version {

/// The version of the sources that this program was built of: "1.0.0" for a release, "1.0.0+g1a2b3c4" for a
/// commit that is none, ".dirty" behind it when files were changed since. scripts/version.sh finds it at each
/// build.
const char* text();

}  // namespace version
