/// The list of type names that a tool finds in the library's file.
#include <gtest/gtest.h>

#include <elf.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

/// The bytes of one section of the built library; empty when there is none.
std::string sectionOf(std::string const& path, std::string const& wanted) {
   std::ifstream file(path, std::ios::binary);
   // At once: an unoptimised library is large, and taking each byte off the stream is slow.
   std::string bytes(file ? std::filesystem::file_size(path) : 0, '\0');
   file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
   Elf64_Ehdr header;
   if (bytes.size() < sizeof header) {
      return {};
   }
   std::memcpy(&header, bytes.data(), sizeof header);
   std::vector<Elf64_Shdr> sections(header.e_shnum);
   std::memcpy(sections.data(), bytes.data() + header.e_shoff,
               sections.size() * sizeof(Elf64_Shdr));
   Elf64_Shdr const& names = sections.at(header.e_shstrndx);
   for (Elf64_Shdr const& section : sections) {
      if (wanted == bytes.data() + names.sh_offset + section.sh_name) {
         return bytes.substr(section.sh_offset, section.sh_size);
      }
   }
   return {};
}

/// The library's types in the order in which they are defined.
char const* const typeNames = R"(
Controller::MountConfig
Controller::MountFilterSystem
Controller::MountFilterServiceVersion
Controller::ServiceMountGroupConfig
Controller::ServiceMountConfig
Controller::MountStatus
Controller::ServiceMountGroupStatus
Controller::SystemStatus
Controller::MountedPathPrefix
Controller::ServiceMountStatus
Controller::PublishConfig
Controller::PublishDir
Controller::ServicePublishGroupConfig
Controller::ServicePublishConfig
Controller::PublishState
Controller::PublishStatus
Controller::ServicePublishGroupStatus
Controller::ServicePublishStatus
Controller::RegisteredSwitchTable
Controller::ServiceVersionFilter
Controller::MounterName
Controller::Mounter
Controller::MountsRegistryEntry
Controller::PublishRegistryEntry
Controller::MountsRegistry
Controller::MounterConfigSm
Controller::PublishRegistryEntrySm
Controller::MountsRegistryEntrySm
Controller::ConnectionServiceStatusDirSm
Controller::MountsRegistrySm
Controller::ServiceMountGroupSm
Controller::ServiceMountConfigSm
Controller::ServicePublishGroupSm
Controller::ServicePublishConfigSm
Controller::ServiceConfigDirSm
Controller::InitialSwitchSet
Controller::ConnectionPeriod
Controller::MountGroupInitialMountSm
Controller::ServiceInitialMountSm
Controller::InitialMountSm
Controller::MountSm::MounterSm
Controller::MountSm::UnmounterSm
Controller::MountSm::SmState
Controller::MountSmData
Controller::MountSm
ControllerRegistration::SwitchConfig
ControllerRegistration::ServicePublishedInfo
ControllerRegistration::SwitchStatus
ControllerRegistration::ControllerConfig
ControllerRegistration::ControllerStatus
)";

TEST(TypeNamesTest, SectionHoldsTheNamesInOrder) {
   std::string const section =
      sectionOf(std::string(GANTRY_BINARY_DIR) + "/gantry/libGantry.so", ".fen.type");
   EXPECT_EQ(section.size(), 2089u);
   std::vector<std::string> found;
   for (std::size_t at = 0; at < section.size(); ++at) {
      if (section[at] != '\0') {
         found.emplace_back(section.c_str() + at);
         at += found.back().size();
      }
   }
   std::istringstream expected(typeNames);
   std::vector<std::string> const names((std::istream_iterator<std::string>(expected)), {});
   EXPECT_EQ(names.size(), 50u);
   EXPECT_EQ(found, names);
}

TEST(TypeNamesTest, LongNamesBeginAtMultiplesOf32AndShortOnesFollow) {
   std::string const section =
      sectionOf(std::string(GANTRY_BINARY_DIR) + "/gantry/libGantry.so", ".fen.type");
   std::size_t end = 0;
   for (std::size_t at = 0; at < section.size(); ++at) {
      if (section[at] == '\0') {
         continue;
      }
      std::size_t const size = std::strlen(section.c_str() + at) + 1;
      EXPECT_EQ(at, size >= 32 ? (end + 31) / 32 * 32 : end) << section.c_str() + at;
      end = at + size;
      at = end - 1;
   }
}

} // namespace
