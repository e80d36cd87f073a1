#include "views/QtRunLoop.h"

#include <QtCore/QPointer>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

namespace vurl {
namespace {

void end(QTimer& timer) { timer.stop(); }
void end(QSocketNotifier& notifier) { notifier.setEnabled(false); }

/// Ends its source of calls, which may be the one being served, and may be gone together with the loop.
template <typename Source>
struct Link final : RunLoop::Registration {
  explicit Link(Source* served) : source(served) {}
  ~Link() override {
    if (source.isNull()) return;
    end(*source);
    source->deleteLater();
  }
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  QPointer<Source> source;
};

} // namespace

void QtRunLoop::post(Work work) {
  const auto run = [this, work = std::move(work)] {
    held_work.push_back(work);
    if (nr_holds == 0) runHeld();
  };
  QMetaObject::invokeMethod(&context, run, Qt::QueuedConnection);
}

/// The work may hold the loop again, or run it.
void QtRunLoop::runHeld() {
  while (nr_holds == 0 && !held_work.empty()) {
    const Work next = std::move(held_work.front());
    held_work.erase(held_work.begin());
    next();
  }
}

QtRunLoop::Hold::~Hold() {
  if (--loop.nr_holds > 0 || loop.held_work.empty()) return;
  QMetaObject::invokeMethod(
      &loop.context, [held = &loop] { held->runHeld(); }, Qt::QueuedConnection);
}

RunLoop::Handle QtRunLoop::every(std::chrono::milliseconds interval, Work work) {
  auto timer = std::make_unique<QTimer>(&context);
  timer->setTimerType(Qt::PreciseTimer);
  QObject::connect(timer.get(), &QTimer::timeout, &context, [this, work = std::move(work)] {
    if (nr_holds == 0) work();
  });
  timer->start(interval);
  return std::make_unique<Link<QTimer>>(timer.release());
}

RunLoop::Handle QtRunLoop::watch(int descriptor, Work work) {
  auto notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read, &context);
  QObject::connect(notifier.get(), &QSocketNotifier::activated, &context, [work = std::move(work)] { work(); });
  return std::make_unique<Link<QSocketNotifier>>(notifier.release());
}

} // namespace vurl
