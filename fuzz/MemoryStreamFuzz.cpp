// MemoryStreamFuzz.cpp — CUMemoryStream reads at arbitrary offsets, counts, origins and
// readable ranges, against a model of the clipping rules.
//
// The input gives the stream's bytes (borrowed or copied), then a sequence of operations:
// reads (into a buffer with guard bytes behind what may be written), readable-range changes
// with any 64-bit values, resets, and copies of a range into a new stream. Each result must
// equal the model's: the count read, the bytes, the range kept or refused, the copy made or
// refused; a read never writes past the count it returns and the position never moves.
#include "FuzzInput.h"

#include <VarnUtilityLib/CUError.h>
#include <VarnUtilityLib/CUMemoryStream.h>

#include <cstdint>
#include <cstring>
#include <vector>

using varn::fuzz::FuzzInput;

namespace {

struct Model {
    std::vector<std::uint8_t> bytes;
    _CURange range{0, 0};

    bool CanRead() const { return !bytes.empty(); }

    // What a read may touch: clipped at the range's end, nothing when the start lies outside.
    _CURange Clip(std::uint64_t count, std::int64_t offset, int origin) const {
        if (count == 0) {
            return {0, 0};
        }
        std::uint64_t start = static_cast<std::uint64_t>(offset);
        if (origin == CUStream_Seek_Origin_End) {
            start += bytes.size();
        } else if (origin != CUStream_Seek_Origin_Begin && origin != CUStream_Seek_Origin_Current) {
            return {0, 0}; // position is always 0 for a memory stream, so Current is Begin
        }
        std::uint64_t end = range.location + range.length;
        if (start < range.location || end <= start) {
            return {0, 0};
        }
        return {start, end - start < count ? end - start : count};
    }
};

int Origin(FuzzInput& in) {
    std::uint8_t b = in.Byte();
    return b < 0xF0 ? b % 3 : static_cast<int>(static_cast<std::int8_t>(b)); // now and then bad
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzInput in(data, size);
    std::uint8_t const flags = in.Byte();
    std::uint8_t const* contents = nullptr;
    std::size_t const length = in.Take(in.Unsigned(1) * 4, &contents);
    Model model;
    model.bytes.assign(contents, contents + length);
    model.range = {0, model.CanRead() ? length : 0};

    // Borrowed streams read the caller's block in place; copied ones their own.
    std::vector<std::uint8_t> block(model.bytes);
    CUSharedPtr<CUMemoryStream> stream(
        new CUMemoryStream(block.empty() ? nullptr : block.data(), block.size(), flags & 1));
    CHECK(stream->CanRead() == model.CanRead());
    CHECK(!stream->CanWrite() && !stream->CanSeek());
    CHECK(stream->Length() == (model.CanRead() ? length : 0));

    for (int step = 0; step < 64 && !in.Empty(); ++step) {
        switch (in.Byte() % 5) {
        case 0: { // read
            std::uint64_t count = in.Unsigned(2);
            std::int64_t offset = in.Offset();
            int origin = Origin(in);
            _CURange expected = model.Clip(count, offset, origin);
            std::size_t const room = static_cast<std::size_t>(expected.length);
            std::vector<std::uint8_t> out(room + 16, 0xA5);
            std::uint64_t got =
                stream->Read(out.data(), count, offset, static_cast<CUStream_Seek_Origin>(origin));
            CHECK(got == expected.length);
            CHECK(got == 0 || std::memcmp(out.data(), model.bytes.data() + expected.location,
                                          static_cast<std::size_t>(got)) == 0);
            for (std::size_t i = room; i < out.size(); ++i) {
                CHECK(out[i] == 0xA5);
            }
            break;
        }
        case 1: { // a null buffer reads nothing
            CHECK(stream->Read(nullptr, in.Unsigned(2), in.Offset(), CUStream_Seek_Origin_Begin) ==
                  0);
            break;
        }
        case 2: { // set the readable range: anything, wrap-around included
            _CURange wanted{in.Unsigned(1) % 4 == 0 ? in.Unsigned(8) : in.Unsigned(2),
                            in.Unsigned(1) % 4 == 0 ? in.Unsigned(8) : in.Unsigned(2)};
            bool const accept = model.CanRead() && wanted.location != kCURangeNoLocation &&
                                wanted.location + wanted.length <= model.bytes.size();
            CHECK((stream->SetReadaleRange(wanted) == kCUStatusSuccess) == accept);
            if (accept) {
                model.range = wanted;
            }
            _CURange now = stream->GetReadableRange();
            CHECK(now.location == model.range.location && now.length == model.range.length);
            break;
        }
        case 3: { // reset the range
            stream->ResetReadaleRange();
            if (model.CanRead()) {
                model.range = {0, model.bytes.size()};
            }
            _CURange now = stream->GetReadableRange();
            CHECK(now.location == model.range.location && now.length == model.range.length);
            break;
        }
        case 4: { // copy a range into a new stream
            _CURange wanted{in.Unsigned(2), in.Unsigned(2)};
            _CURange readable =
                model.Clip(wanted.length, static_cast<std::int64_t>(wanted.location),
                           CUStream_Seek_Origin_Begin);
            bool const copies = wanted.length != 0 && readable.length == wanted.length;
            CUSharedPtr<CUMemoryStream> copy =
                CUMemoryStream::CreateMemoryStreamPtr(stream.get(), wanted);
            CHECK(static_cast<bool>(copy) == copies);
            if (copies) {
                CHECK(copy->Length() == wanted.length);
                CHECK(std::memcmp(copy->GetPtr(), model.bytes.data() + wanted.location,
                                  static_cast<std::size_t>(wanted.length)) == 0);
            }
            try {
                CUMemoryStream direct(stream.get(), wanted);
                CHECK(copies);
            } catch (_CUErrorContents code) {
                CHECK(!copies && code == CUError_NotReady);
            }
            break;
        }
        }
        CHECK(stream->Length() == (model.CanRead() ? length : 0));
    }
    // A borrowed block is never written.
    CHECK(block == model.bytes);
    return 0;
}
