/// The half of RingBuf that sites with unknown message lengths use.
#include <gantry/runtime/ringscribe/RingBuf.h>

namespace RingScribe {

RingBuf::RingBuf(TraceFile& traceFile)
   : file_(&traceFile), begin_(traceFile.scratch_.data()), at_(begin_ + sizeof(TraceMsgHead)),
     end_(begin_ + traceMsgBytesMax), msgId_(0), discarded_(true) {}

RingBuf RingBuf::startMsg(Fen::Ptr<TraceFile> const& traceFile, std::uint32_t msgId) {
   TraceFile& file = *traceFile;
   if (!file.msgIdIsCurrent(msgId)) {
      // Identifiers of a file that is no longer traced to go back to zero here, so that the site
      // describes itself the next time.
      file.currentIs();
      return RingBuf(file);
   }
   RingBuf buffer(file, msgId, traceMsgBytesMax);
   buffer.stringBytesMax_ = file.stringBytesMax(msgId);
   return buffer;
}

} // namespace RingScribe
