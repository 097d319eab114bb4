// A program outside this project that uses an installed library: creates a mixer, asks it something
// and has it find the files that come with it. Exit status 0 if everything answered.

#include <qdvideomixer/create.h>
#include <qdvideomixer/scene.h>
#include <qdvideomixer/version.h>
#include <qdvideomixer/video_mixer.h>

#include <cstdio>

namespace {

// Whether the picture behind a built-in scene is there.
bool ShowsPicture(qdvm::IQDVideoMixer* mixer) {
    void* object = nullptr;
    if (Failed(mixer->QueryInterface(qdvm::IID_IQDVideoMixerScene, &object))) return false;
    auto* scenes = static_cast<qdvm::IQDVideoMixerScene*>(object);
    const BSTR name = SysAllocString(u"3D FIRST");
    qdvm::eVM_Background background = qdvm::eVMB_None;
    const bool isShown = scenes->SelectScene(name) == S_OK &&
                         mixer->GetBackground(&background, nullptr, nullptr) == S_OK &&
                         background == qdvm::eVMB_Image;
    SysFreeString(name);
    scenes->Release();
    return isShown;
}

}  // namespace

int main() {
    void* object = nullptr;
    if (Failed(qdvm::CreateQDVideoMixer(qdvm::IID_IQDVideoMixer, &object))) return 1;
    auto* mixer = static_cast<qdvm::IQDVideoMixer*>(object);

    LONG streams = -1;
    const bool answered = mixer->SetBackground(qdvm::eVMB_Color, 0x00400000, nullptr) == S_OK &&
                          mixer->GetStreamCount(&streams) == S_OK && streams == 0;
    const bool hasPictures = ShowsPicture(mixer);
    mixer->Release();
    std::printf("qdvideomixer %s, %d streams, pictures %s\n", QDVM_VERSION_TEXT,
                static_cast<int>(streams), hasPictures ? "found" : "missing");
    return answered && hasPictures ? 0 : 1;
}
