// RecordingWriter: writes what the Linux source reads as one step of a recording, so that a
// problem can be played again elsewhere (docs/formats/recording.md).
//
//   std::string error;
//   std::string step = RecordingWriter::captureStep("/", "/tmp/bug", error);   // /tmp/bug/01-step
//
// Only what the source reads is written: small, and with the identity of the drives, but nothing
// else of the machine.
#ifndef STORLIB_SOURCES_RECORDINGWRITER_H
#define STORLIB_SOURCES_RECORDINGWRITER_H

#include <string>

namespace RecordingWriter {

// Makes the next step, NN-step, below `destination`, which is made when it is missing, and returns
// its folder; "" with `error` set when reading or writing failed.
std::string captureStep(const std::string& root, const std::string& destination,
                        std::string& error);

}  // namespace RecordingWriter

#endif  // STORLIB_SOURCES_RECORDINGWRITER_H
