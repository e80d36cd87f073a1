// The device and its settings, and the clock that takes are stamped by. What the user chooses is reported; the menus
// show what the controller says. Main thread only.
#pragma once

#include "app/MainWindowView.h"
#include "platform/UserDefaults.h"

#include <QtWidgets/QWidget>

class QComboBox;
class QLabel;
class QSlider;

namespace vurl {

class DeviceBar final : public QWidget {
  Q_OBJECT

public:
  /// `defaults` outlives the bar.
  explicit DeviceBar(UserDefaults& defaults, QWidget* parent = nullptr);

  void showMenu(DeviceMenu which, const PopupMenu& menu);
  void showPullMenu(const std::array<PullMenu::Item, 3>& items);
  void showBufferSizeRange(double lowest, double highest);
  void showBufferSize(uint32_t frames);

  /// The names of the frame rate and the time source in use, for a display.
  QString frameRateWords() const;
  QString timeSourceWords() const;

  QComboBox& menu(DeviceMenu which) { return *device_menus[static_cast<size_t>(which)]; }

Q_SIGNALS:
  void chosen(vurl::DeviceMenu which, qint64 tag);
  void bufferSizeChosen(quint32 frames);

private:
  QComboBox* addMenu(const QString& title, int width, int stretch);
  void addBufferSlider();
  void add(QWidget& control, const QString& title, int stretch);

  UserDefaults& defaults;
  std::array<QComboBox*, 4> device_menus{}; ///< by DeviceMenu
  QComboBox* pull_menu = nullptr;
  QComboBox* time_source_menu = nullptr;
  QComboBox* frame_rate_menu = nullptr;
  QSlider* buffer_slider = nullptr;
  QLabel* buffer_label = nullptr;
};

} // namespace vurl
