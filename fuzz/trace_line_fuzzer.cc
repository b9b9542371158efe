// The trace line builder with hostile values: long and binary narrow text,
// UTF-16 with unpaired surrogates, numbers, and hosts that hand out small or
// missing buffers. The checking tracer verifies every committed record (NUL
// at `length`, inside the buffer); here the text is compared with a model.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "fuzz/fuzz_host.h"
#include "runtime/format.h"
#include "runtime/trace.h"
#include "vor/utf.h"

namespace {

// The text of a UTF-16 value as a line shows it: U+FFFD for each unpaired
// surrogate. Sets `cuttable` when it holds multi-byte characters, whose cut
// may leave room that a later value fills.
void AppendWide(std::u16string_view text, std::string& out, bool& multiByte) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::size_t units = 1;
    if (text[i] >= 0xd800 && text[i] <= 0xdbff && i + 1 < text.size() &&
        text[i + 1] >= 0xdc00 && text[i + 1] <= 0xdfff) {
      units = 2;
    }
    const std::size_t before = out.size();
    if (!vor::utf::Utf16ToUtf8(text.substr(i, units), [&](char c) { out += c; })) {
      out.resize(before);
      out += "\xef\xbf\xbd";
    }
    if (out.size() - before > 1) multiByte = true;
    i += units - 1;
  }
}

std::string HexText(std::uint64_t value) {
  char digits[24];
  std::snprintf(digits, sizeof digits, "%" PRIx64, value);
  return digits;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vor::fuzz::FuzzHost& host = vor::fuzz::SharedHost();
  vor::fuzz::CheckingTracer& tracer = *host.tracer.get();
  FuzzedDataProvider input(data, size);

  // The host's side of the record: the capacity it grants and whether it
  // gives a buffer at all. 601 grants what the module asks for.
  std::uint32_t capacity = input.ConsumeIntegralInRange<std::uint32_t>(0, 601);
  if (capacity == 601) capacity = vor::fuzz::CheckingTracer::kAsAsked;
  const bool nullText = input.ConsumeIntegralInRange<int>(0, 15) == 0;
  const std::uint32_t level = input.ConsumeIntegralInRange<std::uint32_t>(250, 850);
  const bool prefixed = input.ConsumeBool();
  tracer.set_capacity(capacity);
  tracer.set_null_text(nullText);
  tracer.set_threshold(750);

  const zel::Tracer trace(vor::Ref<zel::ITracer>(&tracer), "fz: ");
  std::string expected = prefixed ? "fz: " : "";
  bool multiByte = false;
  int evaluated = 0;
  const std::size_t begunBefore = tracer.begun();
  {
    zel::TraceLine line = prefixed ? zel::TraceLine(trace, level) : zel::TraceLine(&tracer, level);
    // Operands of a disabled line are never evaluated; counted to prove it.
    ZEL_TRACE(trace, 900) << (++evaluated, "never");
    FUZZ_CHECK(evaluated == 0);
    while (input.remaining_bytes() > 0) {
      switch (input.ConsumeIntegralInRange<int>(0, 7)) {
        case 0: {
          const std::string text = input.ConsumeRandomLengthString(2048);
          line << std::string_view(text);
          expected += text;
          break;
        }
        case 1: {
          const std::string text = input.ConsumeRandomLengthString(2048);
          line << text.c_str();
          expected += text.c_str();
          break;
        }
        case 2: {
          const std::string raw = input.ConsumeRandomLengthString(4096);
          std::u16string text(raw.size() / 2, u'\0');
          for (std::size_t i = 0; i < text.size(); ++i) {
            text[i] = static_cast<char16_t>(static_cast<unsigned char>(raw[2 * i]) |
                                            static_cast<unsigned char>(raw[2 * i + 1]) << 8);
          }
          if (input.ConsumeBool()) {
            line << std::u16string_view(text);
            AppendWide(text, expected, multiByte);
          } else {
            line << text.c_str();
            AppendWide(std::u16string_view(text.c_str()), expected, multiByte);
          }
          break;
        }
        case 3: {
          const char c = input.ConsumeIntegral<char>();
          line << c;
          expected += c;
          break;
        }
        case 4: {
          const std::int64_t value = input.ConsumeIntegral<std::int64_t>();
          line << value;
          expected += std::to_string(value);
          break;
        }
        case 5: {
          const std::uint64_t value = input.ConsumeIntegral<std::uint64_t>();
          line << value;
          expected += std::to_string(value);
          break;
        }
        case 6: {
          const std::uint64_t value = input.ConsumeIntegral<std::uint64_t>();
          line << zel::Hex{value};
          expected += HexText(value);
          break;
        }
        default: {
          const auto value = input.ConsumeIntegral<std::uintptr_t>();
          line << zel::Ptr{reinterpret_cast<const void*>(value)};
          expected += "0x" + HexText(value);
          break;
        }
      }
    }
    const char* nullText8 = nullptr;
    const char16_t* nullText16 = nullptr;
    line << nullText8 << nullText16;
    expected += "(null)(null)";
  }

  const bool enabled = level <= 750;
  FUZZ_CHECK(tracer.begun() == begunBefore + (enabled ? 1 : 0));
  FUZZ_CHECK(tracer.committed() == tracer.begun());
  if (!enabled) return 0;
  const std::string& text = tracer.last_line();
  // A record holds at most kTraceCapacity bytes, whatever the host grants.
  const std::size_t granted = std::min<std::size_t>(
      capacity != vor::fuzz::CheckingTracer::kAsAsked ? capacity : zel::kTraceCapacity,
      zel::kTraceCapacity);
  if (nullText || granted == 0) {
    FUZZ_CHECK(text.empty());
    return 0;
  }
  FUZZ_CHECK(text.size() <= granted - 1);
  if (expected.size() <= granted - 1) {
    FUZZ_CHECK(text == expected);
  } else if (!multiByte) {
    FUZZ_CHECK(text == expected.substr(0, granted - 1));
  } else {
    FUZZ_CHECK(text.size() <= expected.size());
  }
  return 0;
}
