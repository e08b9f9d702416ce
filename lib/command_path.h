// Where commands look for their programs.
#pragma once

#include <string>

namespace kestrel {

/// The environment of a command, each text ended by NUL: that of the run, but for PATH. There the
/// administration's folders come last when they are absent, as they are for cron and su, and those
/// in which a look-up hangs are left out, which a notice tells.
/// Where the run's folder may hang, a command starts in "/", and what PATH names below that folder
/// is absolute; PWD and OLDPWD, at which shells look, are left out where they lead over such a
/// mount.
std::string command_environment();

}  // namespace kestrel
