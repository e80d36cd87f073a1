// What the program is, its version and what it stands on. Main thread only.
#pragma once

class QWidget;

namespace vurl {

/// Shows the box over `parent`, which owns it until it is closed, or raises the one that is shown already. It keeps
/// nothing from being used.
void showAbout(QWidget& parent);

} // namespace vurl
