#include "hosts/qdmix/failure.h"

namespace qdvm::qdmix {

std::string LineOf(const Failure& failure) {
    std::string line = "qdmix";
    for (const std::string* part : {&failure.subject, &failure.what, &failure.why}) {
        if (!part->empty()) {
            line += ": " + *part;
        }
    }
    for (char& character : line) {
        if (character == '\n' || character == '\r') {
            character = ' ';
        }
    }
    return line;
}

}  // namespace qdvm::qdmix
