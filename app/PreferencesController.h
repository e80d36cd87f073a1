// Registers what every setting is until the user sets it, before any other part of the program reads one.
#pragma once

#include "platform/UserDefaults.h"

namespace vurl {

class PreferencesController {
public:
  /// Registers the settings' standard values in `defaults`, and on the user's first start makes the folder that takes
  /// go into. Thread: main.
  explicit PreferencesController(UserDefaults& defaults);

private:
  void setupDefaults();
  void makeFirstFolder();

  UserDefaults& defaults;
};

} // namespace vurl
