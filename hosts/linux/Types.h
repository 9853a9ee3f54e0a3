/// The types of a Linux host for programs that know them by name only.
#pragma once

namespace Linux {

/// Enters every type of this folder, and directories, in the tree of types, so that FenType::type()
/// finds it and mounts of it can be received. Called once at the start of a program.
void typesRegister();

} // namespace Linux
