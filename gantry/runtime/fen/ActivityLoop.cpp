/// The loop on epoll. Descriptors sit in numbered slots with a generation, so that an event that
/// was fetched for a descriptor that has gone meanwhile is recognised and dropped.
#include <gantry/runtime/fen/ActivityLoop.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <ctime>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

namespace Fen {

namespace {

constexpr int eventsPerTurn = 128;

/// The longest single wait: long enough to cost nothing, short enough for every conversion.
constexpr double longestWait = 86400.0;

} // namespace

FileDescriptor::FileDescriptor(int descriptor) : descriptor_(descriptor) {
   ActivityLoop::instance().watch(this);
}

FileDescriptor::~FileDescriptor() { ActivityLoop::instance().unwatch(this); }

void FileDescriptor::readableWantedIs(bool wanted) { interestIs(wanted, writableWanted_); }
void FileDescriptor::writableWantedIs(bool wanted) { interestIs(readableWanted_, wanted); }

void FileDescriptor::interestIs(bool readable, bool writable) {
   if (readable == readableWanted_ && writable == writableWanted_) {
      return;
   }
   bool const readableBefore = std::exchange(readableWanted_, readable);
   bool const writableBefore = std::exchange(writableWanted_, writable);
   try {
      ActivityLoop::instance().poll(this);
   } catch (...) {
      readableWanted_ = readableBefore;
      writableWanted_ = writableBefore;
      throw;
   }
}

std::uint32_t FileDescriptor::events() const {
   return (readableWanted_ ? static_cast<std::uint32_t>(EPOLLIN) : 0u) |
          (writableWanted_ ? static_cast<std::uint32_t>(EPOLLOUT) : 0u);
}

FileDescriptor::Notifiee::Notifiee() = default;
FileDescriptor::Notifiee::Notifiee(Ptr<FileDescriptor> const& descriptor) {
   fenNotifierStore(descriptor.ptr());
}
FileDescriptor::Notifiee::~Notifiee() = default;
void FileDescriptor::Notifiee::onReadable() {}
void FileDescriptor::Notifiee::onWritable() {}
Ptr<FileDescriptor> FileDescriptor::Notifiee::notifier() const {
   return Ptr<FileDescriptor>(
      const_cast<FileDescriptor*>(static_cast<FileDescriptor const*>(fenNotifier())));
}

/// Reads the signal's descriptor and passes the arrival on.
class Signal::Reader : public FileDescriptor::Notifiee {
 public:
   Reader(Ptr<FileDescriptor> const& watched, Signal* signal)
      : FileDescriptor::Notifiee(watched), signal_(signal) {
      isRegisteredNotifieeIs(true);
   }

   void onReadable() override {
      // A handler may drop the signal, and with it the descriptor that this loop reads.
      Ptr<Signal> const running(signal_);
      signalfd_siginfo arrived;
      while (::read(notifier()->descriptor(), &arrived, sizeof arrived) == sizeof arrived) {
         signal_->fenNotify(firstOwnAttributeId, nullptr, [](PtrInterface::NotifieeConst& each) {
            static_cast<Signal::Notifiee&>(each).onSignal();
         });
      }
   }

 private:
   Signal* signal_;
};

Signal::Signal(int number) : number_(number) {
   sigset_t set;
   sigemptyset(&set);
   // The system would take these two without a word, and never deliver them.
   if (number == SIGKILL || number == SIGSTOP || sigaddset(&set, number) != 0 ||
       sigprocmask(SIG_BLOCK, &set, nullptr) != 0 ||
       (descriptor_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC)) < 0) {
      throwRangeException(format("signal %d cannot be taken over", number));
   }
   watched_ = makePtr<FileDescriptor>(descriptor_);
   reader_ = makePtr<Reader>(watched_, this);
   watched_->readableWantedIs(true);
}

Signal::~Signal() {
   reader_ = nullptr;
   watched_ = nullptr;
   ::close(descriptor_);
   sigset_t set;
   sigemptyset(&set);
   sigaddset(&set, number_);
   sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

Signal::Notifiee::Notifiee() = default;
Signal::Notifiee::Notifiee(Ptr<Signal> const& signal) { fenNotifierStore(signal.ptr()); }
Signal::Notifiee::~Notifiee() = default;
void Signal::Notifiee::onSignal() {}
Ptr<Signal> Signal::Notifiee::notifier() const {
   return Ptr<Signal>(const_cast<Signal*>(static_cast<Signal const*>(fenNotifier())));
}

TurnEndWork::~TurnEndWork() { pendingIs(false); }

void TurnEndWork::pendingIs(bool pending) {
   if (pending == isPending()) {
      return;
   }
   auto& waiting = ActivityLoop::instance().turnEnd_;
   if (pending) {
      slot_ = waiting.size();
      waiting.push_back(this);
   } else {
      auto& running = ActivityLoop::instance().turnEndRunning_;
      auto& list = slot_ < running.size() && running[slot_] == this ? running : waiting;
      list[slot_] = nullptr;
      slot_ = notPending;
   }
}

ActivityLoop& ActivityLoop::instance() {
   // Never destroyed: reactors of static objects may still leave it at exit.
   static ActivityLoop* const theLoop = new ActivityLoop;
   return *theLoop;
}

ActivityLoop::ActivityLoop() : clock_(makePtr<Clock>()), epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
   FEN_ASSERT(epoll_ >= 0, "the system gives an epoll descriptor");
   clock_->isNondestructingIs(true);
}

void ActivityLoop::watch(FileDescriptor* watched) {
   if (freeSlots_.empty()) {
      freeSlots_.push_back(static_cast<std::uint32_t>(slots_.size()));
      slots_.emplace_back();
   }
   watched->slot_ = freeSlots_.back();
   freeSlots_.pop_back();
   slots_[watched->slot_].watched = watched;
}

void ActivityLoop::unwatch(FileDescriptor* watched) {
   if (watched->polled_) {
      ::epoll_ctl(epoll_, EPOLL_CTL_DEL, watched->descriptor_, nullptr);
      polled_[static_cast<std::size_t>(watched->descriptor_)] = nullptr;
   }
   Slot& slot = slots_[watched->slot_];
   slot.watched = nullptr;
   ++slot.generation;
   freeSlots_.push_back(watched->slot_);
}

void ActivityLoop::poll(FileDescriptor* watched) {
   epoll_event event{};
   event.events = watched->events();
   event.data.u64 =
      (static_cast<std::uint64_t>(slots_[watched->slot_].generation) << 32) | watched->slot_;
   bool const wanted = event.events != 0;
   if (!wanted && !watched->polled_) {
      return;
   }
   int const operation = !wanted ? EPOLL_CTL_DEL : watched->polled_ ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
   if (::epoll_ctl(epoll_, operation, watched->descriptor_, &event) != 0 && wanted) {
      throwRangeException(format("file descriptor %d cannot be watched", watched->descriptor_));
   }
   watched->polled_ = wanted;
   auto const number = static_cast<std::size_t>(watched->descriptor_);
   if (number >= polled_.size()) {
      polled_.resize(number + 1);
   }
   // The number was taken over: its former file was closed while a handler still held its watcher,
   // which must not take the new one out of epoll when it goes.
   if (FileDescriptor* const former = polled_[number]; former != nullptr && former != watched) {
      former->polled_ = false;
   }
   polled_[number] = wanted ? watched : nullptr;
}

bool ActivityLoop::runTurnEnd() {
   bool ran = false;
   turnEndRunning_.swap(turnEnd_);
   for (std::size_t i = 0; i < turnEndRunning_.size(); ++i) {
      TurnEndWork* const work = turnEndRunning_[i];
      if (work != nullptr) {
         turnEndRunning_[i] = nullptr;
         work->slot_ = TurnEndWork::notPending;
         ran = true;
         try {
            work->handleTurnEnd();
         } catch (...) {
            static Counter& lost = Counters::counter("loop.exceptions_from_turn_end_work");
            lost.increment();
         }
      }
   }
   turnEndRunning_.clear();
   return ran;
}

int ActivityLoop::wait(double waitSeconds, void* events, int capacity) {
   double const bounded = std::clamp(waitSeconds, 0.0, longestWait);
   timespec timeout{};
   timeout.tv_sec = static_cast<time_t>(bounded);
   timeout.tv_nsec = static_cast<long>((bounded - std::floor(bounded)) * 1e9);
   int const count =
      ::epoll_pwait2(epoll_, static_cast<epoll_event*>(events), capacity, &timeout, nullptr);
   if (count < 0 && errno == ENOSYS) { // kernels before 5.11
      int const milliseconds = static_cast<int>(std::ceil(bounded * 1e3));
      return ::epoll_wait(epoll_, static_cast<epoll_event*>(events), capacity, milliseconds);
   }
   return count;
}

void ActivityLoop::tell(FileDescriptor* watched, std::uint32_t ready) {
   Ptr<FileDescriptor> const running(watched);
   std::uint32_t const trouble = EPOLLERR | EPOLLHUP;
   if (watched->readableWanted_ && (ready & (EPOLLIN | trouble)) != 0) {
      watched->fenNotify(firstOwnAttributeId, nullptr, [](PtrInterface::NotifieeConst& each) {
         static_cast<FileDescriptor::Notifiee&>(each).onReadable();
      });
   }
   if (watched->writableWanted_ && (ready & (EPOLLOUT | trouble)) != 0) {
      watched->fenNotify(firstOwnAttributeId + 1, nullptr, [](PtrInterface::NotifieeConst& each) {
         static_cast<FileDescriptor::Notifiee&>(each).onWritable();
      });
   }
}

/// How long a turn keeps the loop from everybody else.
class ActivityLoop::TurnTime {
 public:
   void begin() { begin_ = std::chrono::steady_clock::now(); }
   std::uint64_t nanoseconds() const {
      return static_cast<std::uint64_t>(
         std::chrono::nanoseconds(std::chrono::steady_clock::now() - begin_).count());
   }

 private:
   std::chrono::steady_clock::time_point begin_;
};

void ActivityLoop::countTurn(TurnTime const& time, std::size_t waiting) {
   turnTimes_.add(time.nanoseconds());
   queueDepth_ = waiting;
   largestQueueDepth_ = std::max(largestQueueDepth_, waiting);
}

/// Says how much was due and ready.
std::size_t ActivityLoop::runReady(double waitSeconds, TurnTime& time) {
   epoll_event events[eventsPerTurn];
   int const count = wait(waitSeconds, events, eventsPerTurn);
   time.begin();
   std::size_t const fired = clock_->runDue(now());
   for (int i = 0; i < count; ++i) {
      auto const slot = static_cast<std::uint32_t>(events[i].data.u64);
      auto const generation = static_cast<std::uint32_t>(events[i].data.u64 >> 32);
      if (slots_[slot].watched != nullptr && slots_[slot].generation == generation) {
         tell(slots_[slot].watched, events[i].events);
      }
   }
   return fired + static_cast<std::size_t>(std::max(count, 0));
}

bool ActivityLoop::runOnce(double maxWaitSeconds) {
   FEN_ASSERT(!inTurn_, "a handler does not run the loop");
   inTurn_ = true;
   double waitSeconds = std::min(maxWaitSeconds, clock_->nextTime() - now());
   // Work that is pending already, from outside a turn or from the end of the last one, is done at
   // the end of this one and does not wait for anything.
   auto const putOff = static_cast<std::size_t>(std::count_if(
      turnEnd_.begin(), turnEnd_.end(), [](auto const* work) { return work != nullptr; }));
   if (VirtualTime::current() != nullptr || putOff > 0) {
      waitSeconds = 0.0;
   }
   TurnTime time;
   std::size_t const ready = runReady(waitSeconds, time);
   bool const ran = runTurnEnd() || ready > 0;
   if (ran) {
      countTurn(time, putOff + ready);
   }
   inTurn_ = false;
   return ran;
}

void ActivityLoop::run() {
   stopped_ = false;
   while (!stopped_) {
      runOnce(longestWait);
   }
}

Ptr<Clock> ActivityFacility::clock() { return ActivityLoop::instance().clock(); }

double now() {
   if (VirtualTime const* const virtualTime = VirtualTime::current()) {
      return virtualTime->time();
   }
   timespec time;
   ::clock_gettime(CLOCK_MONOTONIC, &time);
   return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

} // namespace Fen
