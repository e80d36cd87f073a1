// The meters of all channels: 64 rows, as many of them shown as channels are recorded, in columns that fill the box,
// each column under a scale of its own. It follows the settings of the scale, of the channel count and of the names.
// Main thread only.
#pragma once

#include "platform/UserDefaults.h"
#include "views/ChannelHeader.h"
#include "views/ChannelView.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>
#include <array>
#include <cstdint>
#include <memory>

namespace vurl {

class ChannelStripBox final : public QWidget {
  Q_OBJECT

public:
  static constexpr uint32_t kMaxChannels = 64;

  explicit ChannelStripBox(QWidget* parent = nullptr);

  /// Follows the settings "start_value", "warn_value", "error_value", "end_value", "nr_channels" and the channels'
  /// names from now on. `defaults` outlives the box.
  void awakeFromNib(UserDefaults& defaults);

  /// The scale in dBFS.
  int32_t startValue() const { return start_value; }
  int32_t warnValue() const { return warn_value; }
  int32_t errorValue() const { return error_value; }
  int32_t endValue() const { return end_value; }
  void setStartValue(int32_t value);
  void setWarnValue(int32_t value);
  void setErrorValue(int32_t value);
  void setEndValue(int32_t value);

  /// Rows to show, limited to 0 to 64.
  uint32_t nrChannels() const { return nr_channels; }
  void setNrChannels(int32_t n);

  /// Columns shown, each with its header.
  uint32_t nrChannelHeaders() const { return nr_channel_headers; }

  /// Levels in dBFS of a channel from 0 to 63, shown or not.
  void setPeak(float peak, float rms, uint32_t channel);

  void clearClipMarks();

  ChannelView& row(uint32_t channel) { return *channel_views[channel]; }
  ChannelHeader& header(uint32_t column) { return *channel_headers[column]; }

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

protected:
  void resizeEvent(QResizeEvent* event) override;

private:
  void redraw();
  void repositionChildren();
  void placeColumn(uint32_t column, uint32_t rows, int column_width);
  void noteResize();
  void viewWillStartLiveResize();
  void viewDidEndLiveResize();

  uint32_t nr_channels = 0;
  std::array<std::unique_ptr<ChannelHeader>, kMaxChannels> channel_headers;
  std::array<std::unique_ptr<ChannelView>, kMaxChannels> channel_views; ///< row i shows channel i
  uint32_t nr_channel_headers = 0;
  int32_t start_value = -42;
  int32_t warn_value = -18;
  int32_t error_value = -6;
  int32_t end_value = 0;
  QElapsedTimer since_resize;
  int quick_resizes = 0; ///< that followed each other, so far
  QTimer live_resize_end;
};

} // namespace vurl
