// A desktop of a test's own: an X server that nobody sees, a window manager, and a bus on which programs describe
// their windows to screen readers. Pointer and keys go through the X server. All of it ends with this object, and
// with the test program, however that ends. Thread: main.
#pragma once

#include "tests/support/PrivateBus.h"
#include "tests/system/Workbench.h"

#include <sys/resource.h>

namespace vurl {

class Desktop {
public:
  /// What is started from now on shows up here, in plain English, and knows of no other desktop.
  /// It goes before other work, where the system allows that: a recorder that gets no time loses samples, and the take.
  Desktop() {
    setpriority(PRIO_PROCESS, 0, -15);
    for (const char* name :
         {"AT_SPI_BUS_ADDRESS", "DESKTOP_SESSION", "GNOME_DESKTOP_SESSION_ID", "KDE_FULL_SESSION", "QT_FONT_DPI",
          "QT_QPA_PLATFORMTHEME", "QT_SCALE_FACTOR", "QT_STYLE_OVERRIDE", "WAYLAND_DISPLAY", "XDG_CURRENT_DESKTOP"})
      unsetenv(name);
    EXPECT_TRUE(eventually([this] { return server.output().ends_with('\n'); })) << server.errors();
    setenv("DISPLAY", (":" + server.output().substr(0, server.output().find('\n'))).c_str(), 1);
    setenv("XDG_RUNTIME_DIR", folder.path.c_str(), 1);
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    manager = std::make_unique<Program>(Words{"openbox", "--sm-disable"});
    const std::string bus_address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    registry =
        std::make_unique<Program>(Words{"env", "AT_SPI_BUS_ADDRESS=" + bus_address, "/usr/libexec/at-spi2-registryd"});
    EXPECT_TRUE(eventually([] { return Program({"xdotool", "get_num_desktops"}).wait() == 0; })) << manager->errors();
  }

  /// An X server that is killed leaves its display's lock behind.
  ~Desktop() {
    manager.reset();
    registry.reset();
    server.signal(SIGTERM);
    server.wait();
  }

  static void clickAt(int x, int y) { act({"mousemove", std::to_string(x), std::to_string(y), "click", "1"}); }
  static void type(const std::string& text) { act({"type", text}); }
  static void press(const std::string& key) { act({"key", key}); } ///< "ctrl+q"

private:
  static void act(Words words) {
    words.insert(words.begin(), "xdotool");
    printedBy(words);
  }

  TemporaryFolder folder;
  Program server{{"Xvfb", "-displayfd", "1", "-screen", "0", "1280x900x24", "-nolisten", "tcp", "-noreset"}};
  PrivateBus bus{PrivateBus::Services::none};
  std::unique_ptr<Program> manager;
  std::unique_ptr<Program> registry;
};

} // namespace vurl
