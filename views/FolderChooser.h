// Has the user choose a folder, or make one, without keeping the rest of the program from being used. Main thread only.
#pragma once

#include "app/FolderControler.h"

class QString;
class QWidget;

namespace vurl {

/// Opens a panel of `parent`, beginning in `path` (full, or beginning with "~"), and returns. `chosen` is called once,
/// later: with the full path that was confirmed, or with nothing. It is not called when `parent` goes before that.
void openFolderChooser(QWidget& parent, const QString& title, const std::string& path, FolderView::Chosen chosen);

} // namespace vurl
