/// The full names of the library's types as text in the data section `.fen.type`, one after the
/// other in the order in which they are defined, so that a loader or a tool can tell which types
/// the library has without loading it. No code reads the section.
///
/// The layout is fixed to the byte: names of 32 bytes or more with their NUL begin at a multiple of
/// 32, shorter ones follow directly, in this order. That is why all stand in this one file,
/// complete also where the code of a type comes later: neither natural alignment nor the order of
/// linking gives these 2089 bytes.
///
/// The same names are entered in the tree of types before any type is made, so that tools list the
/// types in this order whatever the order of linking.
#include <gantry/runtime/fen/FenType.h>

#define FEN_TYPE_NAMES(FEN_TYPE)                                                                   \
   FEN_TYPE(0, "Controller::MountConfig")                                                          \
   FEN_TYPE(1, "Controller::MountFilterSystem")                                                    \
   FEN_TYPE(2, "Controller::MountFilterServiceVersion")                                            \
   FEN_TYPE(3, "Controller::ServiceMountGroupConfig")                                              \
   FEN_TYPE(4, "Controller::ServiceMountConfig")                                                   \
   FEN_TYPE(5, "Controller::MountStatus")                                                          \
   FEN_TYPE(6, "Controller::ServiceMountGroupStatus")                                              \
   FEN_TYPE(7, "Controller::SystemStatus")                                                         \
   FEN_TYPE(8, "Controller::MountedPathPrefix")                                                    \
   FEN_TYPE(9, "Controller::ServiceMountStatus")                                                   \
   FEN_TYPE(10, "Controller::PublishConfig")                                                       \
   FEN_TYPE(11, "Controller::PublishDir")                                                          \
   FEN_TYPE(12, "Controller::ServicePublishGroupConfig")                                           \
   FEN_TYPE(13, "Controller::ServicePublishConfig")                                                \
   FEN_TYPE(14, "Controller::PublishState")                                                        \
   FEN_TYPE(15, "Controller::PublishStatus")                                                       \
   FEN_TYPE(16, "Controller::ServicePublishGroupStatus")                                           \
   FEN_TYPE(17, "Controller::ServicePublishStatus")                                                \
   FEN_TYPE(18, "Controller::RegisteredSwitchTable")                                               \
   FEN_TYPE(19, "Controller::ServiceVersionFilter")                                                \
   FEN_TYPE(20, "Controller::MounterName")                                                         \
   FEN_TYPE(21, "Controller::Mounter")                                                             \
   FEN_TYPE(22, "Controller::MountsRegistryEntry")                                                 \
   FEN_TYPE(23, "Controller::PublishRegistryEntry")                                                \
   FEN_TYPE(24, "Controller::MountsRegistry")                                                      \
   FEN_TYPE(25, "Controller::MounterConfigSm")                                                     \
   FEN_TYPE(26, "Controller::PublishRegistryEntrySm")                                              \
   FEN_TYPE(27, "Controller::MountsRegistryEntrySm")                                               \
   FEN_TYPE(28, "Controller::ConnectionServiceStatusDirSm")                                        \
   FEN_TYPE(29, "Controller::MountsRegistrySm")                                                    \
   FEN_TYPE(30, "Controller::ServiceMountGroupSm")                                                 \
   FEN_TYPE(31, "Controller::ServiceMountConfigSm")                                                \
   FEN_TYPE(32, "Controller::ServicePublishGroupSm")                                               \
   FEN_TYPE(33, "Controller::ServicePublishConfigSm")                                              \
   FEN_TYPE(34, "Controller::ServiceConfigDirSm")                                                  \
   FEN_TYPE(35, "Controller::InitialSwitchSet")                                                    \
   FEN_TYPE(36, "Controller::ConnectionPeriod")                                                    \
   FEN_TYPE(37, "Controller::MountGroupInitialMountSm")                                            \
   FEN_TYPE(38, "Controller::ServiceInitialMountSm")                                               \
   FEN_TYPE(39, "Controller::InitialMountSm")                                                      \
   FEN_TYPE(40, "Controller::MountSm::MounterSm")                                                  \
   FEN_TYPE(41, "Controller::MountSm::UnmounterSm")                                                \
   FEN_TYPE(42, "Controller::MountSm::SmState")                                                    \
   FEN_TYPE(43, "Controller::MountSmData")                                                         \
   FEN_TYPE(44, "Controller::MountSm")                                                             \
   FEN_TYPE(45, "ControllerRegistration::SwitchConfig")                                            \
   FEN_TYPE(46, "ControllerRegistration::ServicePublishedInfo")                                    \
   FEN_TYPE(47, "ControllerRegistration::SwitchStatus")                                            \
   FEN_TYPE(48, "ControllerRegistration::ControllerConfig")                                        \
   FEN_TYPE(49, "ControllerRegistration::ControllerStatus")

#if defined(__has_attribute) && __has_attribute(no_reorder)
#define FEN_TYPE_IN_ORDER no_reorder,
#else
#define FEN_TYPE_IN_ORDER
#endif

#define FEN_TYPE_NAME(number, text)                                                                \
   [[maybe_unused]] __attribute__((                                                                \
      used, FEN_TYPE_IN_ORDER section(".fen.type"),                                                \
      aligned(sizeof(text) >= 32 ? 32 : 1))) static char const typeName##number[] = text;

namespace {

FEN_TYPE_NAMES(FEN_TYPE_NAME)

#define FEN_TYPE_NODE(number, text) Fen::FenType::typeNodeIs(text);

struct TypeNodesLoad {
   TypeNodesLoad() { FEN_TYPE_NAMES(FEN_TYPE_NODE) }
};
/// The lowest priority that is free for programs: before all that have none.
__attribute__((init_priority(101))) TypeNodesLoad const typeNodesLoad;

} // namespace
