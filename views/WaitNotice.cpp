#include "views/WaitNotice.h"

#include "views/SettingControls.h"

#include <QtCore/QCoreApplication>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>
#include <thread>

namespace vurl {
namespace {

constexpr std::chrono::milliseconds kStep{20};
constexpr int kSteps = 5; ///< of a pause
constexpr std::chrono::milliseconds kGap{500};
constexpr int kWidth = 480;

} // namespace

WaitNotice::WaitNotice(QtRunLoop& loop, std::chrono::milliseconds wait_patience, QWidget* parent)
    : QDialog(parent),
      run_loop(loop),
      patience(wait_patience),
      label(owned<QLabel>()),
      wait_button(quietButton(tr("&Go on waiting"))),
      leave_button(quietButton(QString())) {
  setWindowTitle(tr("Waiting"));
  setWindowModality(Qt::ApplicationModal); // STOP has been pressed, and nothing else can be done
  label->setWordWrap(true);
  label->setTextFormat(Qt::PlainText);
  wait_button->setObjectName("wait");
  leave_button->setObjectName("leave");
  auto* const buttons = owned<QDialogButtonBox>();
  buttons->addButton(wait_button, QDialogButtonBox::RejectRole);
  buttons->addButton(leave_button, QDialogButtonBox::ActionRole);
  connect(wait_button, &QPushButton::clicked, this, [this] { ask(false); });
  connect(leave_button, &QPushButton::clicked, this, [this] {
    if (!is_asked) return ask(true);
    Q_EMIT left();
  });
  auto* const page = owned<QVBoxLayout>(this);
  page->addWidget(label);
  page->addWidget(buttons);
  setMinimumWidth(kWidth);
  over.setSingleShot(true);
  over.setInterval(kGap);
  connect(&over, &QTimer::timeout, this, &QWidget::hide);
}

void WaitNotice::ask(bool whether_to_leave) {
  is_asked = whether_to_leave;
  wait_button->setVisible(is_asked);
  leave_button->setText(is_asked ? tr("&Leave now") : tr("&Leave…"));
  showWords();
}

void WaitNotice::showWords() {
  const QString what = awaited ? QString::fromStdString(awaited()) : QString();
  const QString text = is_asked ? tr("Leave the program without waiting for %1?\n\nThe files there end with what has "
                                     "been written until now, and may be left without their final header. The other "
                                     "files of a take are completed if their disks answer.")
                                : tr("Waiting for %1.\n\nIt does not answer. The program ends, or goes on, as soon as "
                                     "what is under way there is complete.");
  if (label->text() == text.arg(what)) return;
  label->setText(text.arg(what));
  adjustSize();
}

void WaitNotice::pause() {
  const auto now = std::chrono::steady_clock::now();
  if (now - last > kGap) {
    since = now;
    ask(false);
  }
  if (now - since < patience) {
    std::this_thread::sleep_for(kStep * kSteps);
  } else {
    serve();
  }
  last = std::chrono::steady_clock::now();
}

void WaitNotice::serve() {
  showWords();
  if (!isVisible()) show();
  over.start();
  const QtRunLoop::Hold hold(run_loop);
  for (int step = 0; step < kSteps; ++step) {
    QCoreApplication::processEvents();
    std::this_thread::sleep_for(kStep);
  }
}

bool WaitNotice::leaveIfShown() {
  if (!isVisible()) return false;
  Q_EMIT left();
  return true;
}

} // namespace vurl
