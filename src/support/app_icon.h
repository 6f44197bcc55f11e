#pragma once

#include <QIcon>

// The program's one icon, in every size the desktop entry installs: the
// window icon and the about box's logo come from it, so all three match.
QIcon AppIcon();
