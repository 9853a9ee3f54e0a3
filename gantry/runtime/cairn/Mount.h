/// One mount of a group: three texts, a plain value, on whatever thread.
#pragma once

#include <gantry/runtime/fen/String.h>

namespace Cairn {

class Mount {
 public:
   Mount() = default;
   Mount(Fen::String8 path, Fen::String8 typeName, Fen::String8 flags)
      : path_(path), typeName_(typeName), flags_(flags) {}

   /// A path below the manager's own remote path; empty for that path itself.
   Fen::String8 const& path() const { return path_; }
   /// Name of the type that the entity at the path must have.
   Fen::String8 const& typeName() const { return typeName_; }
   /// What is asked for, one letter each: "w" asks for the right to write. Others are carried.
   Fen::String8 const& flags() const { return flags_; }

   bool operator==(Mount const& other) const = default;

 private:
   Fen::String8 path_;
   Fen::String8 typeName_;
   Fen::String8 flags_;
};

} // namespace Cairn
