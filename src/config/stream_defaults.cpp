#include "config/stream_defaults.h"

#include "platform/settings_store.h"

#include <string_view>

namespace qdvm {
namespace {

constexpr std::u16string_view kSettingsKey = u"Software\\Quindarlux\\QDVideoMixer";

void LoadValue(SettingsKey& key, std::u16string_view name, std::int32_t& value) {
    std::uint32_t stored = 0;
    if (Succeeded(key.ReadU32(name, stored)))
        value = static_cast<std::int32_t>(stored);
    else
        (void)key.WriteU32(name, static_cast<std::uint32_t>(value));
}

}  // namespace

StreamDefaults LoadStreamDefaults() {
    StreamDefaults defaults;
    SettingsKey key;
    if (Failed(SettingsKey::OpenOrCreate(kSettingsKey, key))) return defaults;
    LoadValue(key, u"StreamMaxWait.DefaultTime", defaults.maxWaitFrames);
    LoadValue(key, u"StreamMaxWait.DefaultType", defaults.lostShow);
    LoadValue(key, u"InputProcessing.Type", defaults.inputProcessing);
    LoadValue(key, u"Mixer.ARGB32Mix", defaults.argb32Mix);
    LoadValue(key, u"Mixer.SyncStart", defaults.syncStart);
    return defaults;
}

}  // namespace qdvm
