/// A subject and a slot of Qt for bench/notify.cpp, connected directly. Made by its compiler of
/// signals, so they stand in a header of their own.
#pragma once

#include <QObject>

#include <cstdint>

namespace BenchNotify {

class QtSubject : public QObject {
   Q_OBJECT

 public:
   [[gnu::noinline]] void set(std::uint32_t value);

 Q_SIGNALS:
   void changed(std::uint32_t value);

 private:
   std::uint32_t value_ = 0;
};

class QtSlot : public QObject {
   Q_OBJECT

 public Q_SLOTS:
   void onChange(std::uint32_t value);

 private:
   std::int64_t sum_ = 0;
};

void qtConnect(QtSubject& subject, QtSlot& slot);

} // namespace BenchNotify
