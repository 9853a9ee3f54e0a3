/// The first use of a message site in a file.
#include <gantry/runtime/ringscribe/Trace.h>

namespace RingScribe {

bool describeSite(MsgSite& site, MsgPart const* parts, std::size_t count) {
   Fen::Ptr<TraceFile> const file = theTraceFile;
   if (file->msgIdIsRefused(site.msgId)) {
      return false;
   }
   MsgDesc description(file, site.file, site.line);
   description.levelIs(site.level);
   site.msgId = description.msgId();
   file->msgIdArrIs(&site.msgId);
   for (std::size_t i = 0; i < count; ++i) {
      if (parts[i].letter == '\0') {
         description << parts[i].text;
      } else {
         description.formatString().put(static_cast<Letter>(parts[i].letter));
         description << Varg();
      }
   }
   description.finish();
   return file->msgIdIsCurrent(site.msgId);
}

} // namespace RingScribe
