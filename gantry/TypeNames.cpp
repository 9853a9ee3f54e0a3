/// The full names of the library's types as text in the data section `.fen.type`, one after the
/// other in the order in which they are defined, so that a loader or a tool can tell which types
/// the library has without loading it. No code reads the section.
///
/// The layout is fixed to the byte: names of 32 bytes or more with their NUL begin at a multiple of
/// 32, shorter ones follow directly, in this order. That is why all stand in this one file,
/// complete also where the code of a type comes later: neither natural alignment nor the order of
/// linking gives these 2089 bytes.

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

FEN_TYPE_NAME(0, "Controller::MountConfig")
FEN_TYPE_NAME(1, "Controller::MountFilterSystem")
FEN_TYPE_NAME(2, "Controller::MountFilterServiceVersion")
FEN_TYPE_NAME(3, "Controller::ServiceMountGroupConfig")
FEN_TYPE_NAME(4, "Controller::ServiceMountConfig")
FEN_TYPE_NAME(5, "Controller::MountStatus")
FEN_TYPE_NAME(6, "Controller::ServiceMountGroupStatus")
FEN_TYPE_NAME(7, "Controller::SystemStatus")
FEN_TYPE_NAME(8, "Controller::MountedPathPrefix")
FEN_TYPE_NAME(9, "Controller::ServiceMountStatus")
FEN_TYPE_NAME(10, "Controller::PublishConfig")
FEN_TYPE_NAME(11, "Controller::PublishDir")
FEN_TYPE_NAME(12, "Controller::ServicePublishGroupConfig")
FEN_TYPE_NAME(13, "Controller::ServicePublishConfig")
FEN_TYPE_NAME(14, "Controller::PublishState")
FEN_TYPE_NAME(15, "Controller::PublishStatus")
FEN_TYPE_NAME(16, "Controller::ServicePublishGroupStatus")
FEN_TYPE_NAME(17, "Controller::ServicePublishStatus")
FEN_TYPE_NAME(18, "Controller::RegisteredSwitchTable")
FEN_TYPE_NAME(19, "Controller::ServiceVersionFilter")
FEN_TYPE_NAME(20, "Controller::MounterName")
FEN_TYPE_NAME(21, "Controller::Mounter")
FEN_TYPE_NAME(22, "Controller::MountsRegistryEntry")
FEN_TYPE_NAME(23, "Controller::PublishRegistryEntry")
FEN_TYPE_NAME(24, "Controller::MountsRegistry")
FEN_TYPE_NAME(25, "Controller::MounterConfigSm")
FEN_TYPE_NAME(26, "Controller::PublishRegistryEntrySm")
FEN_TYPE_NAME(27, "Controller::MountsRegistryEntrySm")
FEN_TYPE_NAME(28, "Controller::ConnectionServiceStatusDirSm")
FEN_TYPE_NAME(29, "Controller::MountsRegistrySm")
FEN_TYPE_NAME(30, "Controller::ServiceMountGroupSm")
FEN_TYPE_NAME(31, "Controller::ServiceMountConfigSm")
FEN_TYPE_NAME(32, "Controller::ServicePublishGroupSm")
FEN_TYPE_NAME(33, "Controller::ServicePublishConfigSm")
FEN_TYPE_NAME(34, "Controller::ServiceConfigDirSm")
FEN_TYPE_NAME(35, "Controller::InitialSwitchSet")
FEN_TYPE_NAME(36, "Controller::ConnectionPeriod")
FEN_TYPE_NAME(37, "Controller::MountGroupInitialMountSm")
FEN_TYPE_NAME(38, "Controller::ServiceInitialMountSm")
FEN_TYPE_NAME(39, "Controller::InitialMountSm")
FEN_TYPE_NAME(40, "Controller::MountSm::MounterSm")
FEN_TYPE_NAME(41, "Controller::MountSm::UnmounterSm")
FEN_TYPE_NAME(42, "Controller::MountSm::SmState")
FEN_TYPE_NAME(43, "Controller::MountSmData")
FEN_TYPE_NAME(44, "Controller::MountSm")
FEN_TYPE_NAME(45, "ControllerRegistration::SwitchConfig")
FEN_TYPE_NAME(46, "ControllerRegistration::ServicePublishedInfo")
FEN_TYPE_NAME(47, "ControllerRegistration::SwitchStatus")
FEN_TYPE_NAME(48, "ControllerRegistration::ControllerConfig")
FEN_TYPE_NAME(49, "ControllerRegistration::ControllerStatus")

} // namespace
