// Ties a control to a settings key, both ways: what the user does is stored at once, and the control follows changes
// made anywhere else. A binding lives as long as its control; the settings outlive both. Main thread only.
//
// Following never writes: a value that the control cannot show (a tag that its menu lacks, a number out of its range)
// stays stored until the user chooses another. What is being typed is left alone until it is finished.
#pragma once

#include "platform/UserDefaults.h"

#include <QtCore/QObject>
#include <functional>
#include <string>

class QAbstractButton;
class QAction;
class QComboBox;
class QLineEdit;
class QSpinBox;

namespace vurl {

class SettingsBinding final : public QObject {
  Q_OBJECT

public:
  enum class Write {
    continuously,  ///< with every keystroke
    when_finished, ///< on Enter and when the field loses the focus
  };

  /// A text field and a string. Binding a control that is bound already replaces its binding; so in all of these.
  static void bind(QLineEdit& field, UserDefaults& defaults, const std::string& key, Write write = Write::continuously);
  /// A check box, or another button that can be checked, and a boolean.
  static void bind(QAbstractButton& button, UserDefaults& defaults, const std::string& key);
  /// A menu command that can be checked, and a boolean.
  static void bind(QAction& action, UserDefaults& defaults, const std::string& key);
  /// A number field and an integer. Typed numbers are stored when they are finished, steps at once.
  static void bind(QSpinBox& field, UserDefaults& defaults, const std::string& key);
  /// A menu whose items carry the value in their data, an integer or a string. A menu filled anew is bound anew.
  static void bind(QComboBox& menu, UserDefaults& defaults, const std::string& key);
  static void unbind(QObject& control);

  /// Calls `follow` now and after every change of `key`, until `owner` is destroyed.
  static void follow(QObject& owner, UserDefaults& defaults, const std::string& key,
                     const std::function<void()>& follow);

private:
  using Show = std::function<void()>;

  SettingsBinding(QObject& control, UserDefaults& defaults, std::string key);
  static SettingsBinding* make(QObject& control, UserDefaults& defaults, const std::string& key);
  template <typename Control>
  static void bindCheckable(Control& control, UserDefaults& defaults, const std::string& key);
  void start(Show show_value);
  void showStored();
  void store(const SettingValue& value);
  void finishTyping();
  bool eventFilter(QObject* watched, QEvent* event) override;

  UserDefaults& defaults;
  const std::string key;
  Show show; ///< puts the stored value into the control
  bool showing = false;
  bool typing = false;    ///< the control holds what is not stored yet
  bool composing = false; ///< an input method is putting a character together
  UserDefaults::ObservationHandle observation;
};

} // namespace vurl
