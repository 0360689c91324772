// kGuide is what the program says to those who give it no command.
#pragma once

namespace accountsettings {

inline constexpr const char* kGuide =
    "accountsettings looks at, checks, edits and migrates the account settings of a device.\n"
    "\n"
    "  accountsettings show --root DIR      which accounts the device has\n"
    "  accountsettings check --root DIR     what is broken, or would be lost\n"
    "  accountsettings plan --root DIR      what a migration would do\n"
    "  accountsettings migrate --root DIR   does it, and keeps a backup\n"
    "  accountsettings restore --root DIR   puts the backup back\n"
    "\n"
    "DIR stands for the device's /, as of a mounted image; without --root it is this machine.\n"
    "A device to try it on:  accountsettings sample DIR --release oldest\n"
    "All commands:           accountsettings help\n";

}  // namespace accountsettings
