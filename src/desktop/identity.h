/// @file
/// How desktop shells recognise a program and its windows.
#pragma once

#include <QString>

/// Sets the icon of all windows of the program, and the desktop entry by which a Wayland shell
/// finds name and icon. Interface thread, after the application object exists and before the first
/// window.
/// @param entry base name of the program's desktop entry, without ".desktop"
void setDesktopIdentity(const QString& entry);
