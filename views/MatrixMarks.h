// The check boxes of the routing matrix, drawn once for each palette and resolution, so that thousands of them can be
// put on the screen in no time.
#pragma once

#include <QtGui/QPalette>
#include <QtGui/QPixmap>
#include <array>

namespace vurl {

/// A box and a checked box, for what may be switched on its own; a circle and a filled circle, for one of several.
using MatrixMarks = std::array<QPixmap, 4>;

/// Marks of 14 x 14 points. Thread: main.
MatrixMarks matrix_marks(const QPalette& palette, double pixel_ratio);

} // namespace vurl
