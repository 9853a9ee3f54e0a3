/// The one activity loop of a process: clock reactors, file descriptors, signals, and the work that
/// is put off to the end of a turn. Everything that the library calls back runs on its thread.
#pragma once

#include <gantry/runtime/fen/Clock.h>
#include <gantry/runtime/fen/Histogram.h>
#include <gantry/runtime/fen/Notifiee.h>

#include <cstdint>
#include <vector>

namespace Fen {

/// A file descriptor that the loop watches. It does not own the descriptor; whoever closes that
/// drops this object first. A handler that runs keeps this object for a while longer, which does no
/// harm: when the number comes back for another file, this object has nothing to do with it.
/// Readiness is by level: as long as there is something to read, each turn says so.
class GANTRY_EXPORT FileDescriptor : public Notifier {
 public:
   class Notifiee;

   /// Watches `descriptor`, at first for nothing.
   explicit FileDescriptor(int descriptor);
   ~FileDescriptor() override;

   int descriptor() const { return descriptor_; }
   /// Whether onReadable() is wanted. Errors and hang-ups count as readable and as writable.
   void readableWantedIs(bool wanted);
   void writableWantedIs(bool wanted);
   bool readableWanted() const { return readableWanted_; }
   bool writableWanted() const { return writableWanted_; }

 private:
   friend class ActivityLoop;
   void interestIs(bool readable, bool writable);
   std::uint32_t events() const;

   int const descriptor_;
   std::uint32_t slot_ = 0;
   bool readableWanted_ = false;
   bool writableWanted_ = false;
   bool polled_ = false;
};

class GANTRY_EXPORT FileDescriptor::Notifiee : public PtrInterface::NotifieeConst {
 public:
   using NotifierType = FileDescriptor;

   virtual void onReadable();
   virtual void onWritable();

   Ptr<FileDescriptor> notifier() const;

 protected:
   Notifiee();
   explicit Notifiee(Ptr<FileDescriptor> const& descriptor);
   ~Notifiee() override;
};

/// A signal of the process as a notifier. While one lives, the signal is blocked and arrives here
/// instead, on the loop's thread, in ordinary code.
class GANTRY_EXPORT Signal : public Notifier {
 public:
   class Notifiee;

   /// Takes over signal `number`. Throws a range exception for a number that cannot be taken.
   explicit Signal(int number);
   ~Signal() override;
   int number() const { return number_; }

 private:
   class Reader;

   int const number_;
   int descriptor_ = -1;
   Ptr<FileDescriptor> watched_;
   Ptr<Reader> reader_;
};

class GANTRY_EXPORT Signal::Notifiee : public PtrInterface::NotifieeConst {
 public:
   using NotifierType = Signal;

   virtual void onSignal();

   Ptr<Signal> notifier() const;

 protected:
   Notifiee();
   explicit Notifiee(Ptr<Signal> const& signal);
   ~Notifiee() override;
};

/// Work that gathers during a turn and is done once at its end, such as sending what has been
/// written. Owned by whoever derives from it.
class GANTRY_EXPORT TurnEndWork {
 public:
   TurnEndWork(TurnEndWork const&) = delete;
   TurnEndWork& operator=(TurnEndWork const&) = delete;

   bool isPending() const { return slot_ != notPending; }

 protected:
   TurnEndWork() = default;
   virtual ~TurnEndWork();
   /// Asks for one call of handleTurnEnd() at the end of this turn, or of the next one when no turn
   /// is running; or takes the wish back.
   void pendingIs(bool pending);
   virtual void handleTurnEnd() = 0;

 private:
   friend class ActivityLoop;
   static constexpr std::size_t notPending = static_cast<std::size_t>(-1);

   std::size_t slot_ = notPending;
};

class GANTRY_EXPORT ActivityLoop {
 public:
   /// The loop of this process.
   static ActivityLoop& instance();

   /// Runs one turn: waits for at most `maxWaitSeconds` until a clock reactor is due or a
   /// descriptor is ready, then runs the due clock reactors, the ready descriptors' reactors and
   /// the work put off to the end of the turn. Says whether anything ran. Must not be entered from
   /// a handler.
   bool runOnce(double maxWaitSeconds);
   /// Runs turns until stop() is called.
   void run();
   /// Makes run() return after the current turn, which a handler is part of; called outside run()
   /// it has no effect.
   void stop() { stopped_ = true; }

   Ptr<Clock> const& clock() const { return clock_; }

   /// How long turns kept everybody else waiting, in nanoseconds: of turns in which something ran.
   Histogram const& turnTimes() const { return turnTimes_; }
   /// How much waited at the beginning of the last such turn: work put off, clock reactors that
   /// were due and descriptors that were ready, of which one turn takes a bounded number.
   std::size_t queueDepth() const { return queueDepth_; }
   /// The most that ever waited so.
   std::size_t largestQueueDepth() const { return largestQueueDepth_; }

 private:
   friend class FileDescriptor;
   friend class TurnEndWork;

   class TurnTime;
   struct Slot {
      FileDescriptor* watched = nullptr;
      std::uint32_t generation = 0;
   };

   ActivityLoop();
   ~ActivityLoop() = delete;

   void watch(FileDescriptor* watched);
   void unwatch(FileDescriptor* watched);
   void poll(FileDescriptor* watched);
   bool runTurnEnd();
   std::size_t runReady(double waitSeconds, TurnTime& time);
   void countTurn(TurnTime const& time, std::size_t waiting);
   int wait(double waitSeconds, void* events, int capacity);
   void tell(FileDescriptor* watched, std::uint32_t ready);

   Ptr<Clock> clock_;
   int epoll_ = -1;
   bool stopped_ = false;
   bool inTurn_ = false;
   std::vector<Slot> slots_;
   std::vector<std::uint32_t> freeSlots_;
   /// Who watches the descriptor of that number, for those that are polled.
   std::vector<FileDescriptor*> polled_;
   std::vector<TurnEndWork*> turnEnd_;
   std::vector<TurnEndWork*> turnEndRunning_;
   Histogram turnTimes_;
   std::size_t queueDepth_ = 0;
   std::size_t largestQueueDepth_ = 0;
};

} // namespace Fen
