// A program outside this project that uses an installed library: creates a mixer and asks it
// something. Exit status 0 if everything answered.

#include <qdvideomixer/create.h>
#include <qdvideomixer/version.h>
#include <qdvideomixer/video_mixer.h>

#include <cstdio>

int main() {
    void* object = nullptr;
    if (Failed(qdvm::CreateQDVideoMixer(qdvm::IID_IQDVideoMixer, &object))) return 1;
    auto* mixer = static_cast<qdvm::IQDVideoMixer*>(object);

    LONG streams = -1;
    const bool answered = mixer->SetBackground(qdvm::eVMB_Color, 0x00400000, nullptr) == S_OK &&
                          mixer->GetStreamCount(&streams) == S_OK && streams == 0;
    mixer->Release();
    std::printf("qdvideomixer %s, %d streams\n", QDVM_VERSION_TEXT, static_cast<int>(streams));
    return answered ? 0 : 1;
}
