// Files and naming in the preferences: formats of names with the tokens to choose from and the next names as an
// example, the files' format, the CSV report, and the texts that every file carries. Main thread only.
#pragma once

#include "platform/UserDefaults.h"

#include <QtWidgets/QWidget>

class QFormLayout;
class QLabel;
class QLineEdit;
class QVBoxLayout;

namespace vurl {

class FilesPage final : public QWidget {
  Q_OBJECT

public:
  explicit FilesPage(UserDefaults& defaults);

  /// Some setting has changed: makes the next take's names anew.
  void updateExample();

private:
  void addNaming(QVBoxLayout& page);
  void addTokens(QFormLayout& rows);
  void addFormat(QVBoxLayout& page);
  void addReport(QVBoxLayout& page);
  void insert(const QString& token);
  void chooseReportFolder();

  UserDefaults& defaults;
  QLineEdit* filename_format; ///< these are the page's
  QLineEdit* csv_filename_format;
  QLineEdit* last_edited; ///< of the two formats
  QLabel* example;
  QLabel* report_example;
};

} // namespace vurl
