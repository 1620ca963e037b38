// Streaming raw-deflate decoders (ISA-L when the build found it, zlib always) and the CRC-32 beside them.
#ifndef ANADATA_SESSION_STREAM_INFLATER_H
#define ANADATA_SESSION_STREAM_INFLATER_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "zip_error.h"

namespace anadata::detail {

enum class InflateEngine {
    fastest,  // ISA-L when built in, else zlib
    zlib,
    isal,
};

// Whether the engine can be used in this build (fastest and zlib always can).
bool inflateEngineAvailable(InflateEngine engine);

// zlib's crc32(), computed by ISA-L's folding code when it is built in.
std::uint32_t crc32Update(std::uint32_t crc, const unsigned char* data, std::size_t size);

// What one call of StreamInflater::step did.
struct InflateStep {
    std::size_t consumed = 0;  // input bytes taken
    std::size_t produced = 0;  // output bytes written
    bool end = false;          // the final block is complete and all output delivered
    // At the end: input bytes taken past the end of the stream (ISA-L reads ahead), oldest first.
    // They belong to whatever follows the stream, and may come from an earlier call's input.
    unsigned char overread[8] = {};
    std::size_t overreadSize = 0;
};

// Decodes one raw deflate stream pushed in pieces. Throws ZipError naming the fault in corrupt data.
class StreamInflater {
public:
    // Throws ZipError if the engine is not available or cannot set up.
    static std::unique_ptr<StreamInflater> create(InflateEngine engine);
    virtual ~StreamInflater() = default;
    // Decodes from in[0..inSize) into out[0..outSize). A step with neither input taken nor output
    // written needs more input; after `end`, the stream is over and step must not be called again.
    virtual InflateStep step(const unsigned char* in, std::size_t inSize, unsigned char* out,
                             std::size_t outSize) = 0;
};

}  // namespace anadata::detail

#endif
