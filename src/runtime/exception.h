// Framework exceptions. Their descriptions are built once, into a buffer inside
// the exception, so describing one never allocates or throws (they are thrown
// on out-of-memory paths too).
#ifndef VOR_RUNTIME_EXCEPTION_H_
#define VOR_RUNTIME_EXCEPTION_H_

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <span>
#include <string_view>

#include "vor/object.h"

namespace zel {

// Type tags of property values; the description writer formats the ones it knows.
inline constexpr std::uint32_t kTypeTagResult = 0x2c7f9a31;
inline constexpr std::uint32_t kTypeTagIid = 0x7b884055;
inline constexpr std::uint32_t kTypeTagServiceKey = 0x674a5ef8;

struct ExceptionProperty {
  const char* name;  // a literal: "zel.result", "zel.iid", "os.result", ...
  std::uint32_t type;
  std::uint64_t value;
};

// The root of the framework's exceptions: a source location, a message and
// named properties. what() is the description:
//   file(line): message. Properties: name=value ...\nCall stack:\n
class exception : public std::exception {
 public:
  const char* what() const noexcept override { return description_; }

  std::string_view message() const { return message_; }
  const char* file() const { return file_; }
  int line() const { return line_; }
  std::span<const ExceptionProperty> properties() const { return {properties_, count_}; }
  // The exception's result code: by default the "zel.result" property.
  virtual std::optional<result_t> result() const;

 protected:
  exception(const char* file, int line, std::string_view message);
  void AddProperty(const char* name, std::uint32_t type, std::uint64_t value);
  // Rebuilds the description; derived constructors call it after adding properties.
  void Describe();

 private:
  static constexpr std::size_t kMaxProperties = 4;
  const char* file_;
  int line_;
  char message_[256];
  ExceptionProperty properties_[kMaxProperties];
  std::size_t count_ = 0;
  char description_[640];
};

// A framework exception without a result code of its own.
class Exception : public exception {
 protected:
  using exception::exception;
};

// Gives a concrete exception class its own type identity. `Derived` is read
// by nothing: the hierarchy names this base with it, so it stays.
template <class Derived, class Base>
class ExceptionBase : public Base {
 protected:
  using Base::Base;
};

// Carries a result code; the message reads "[text: ]0x%08x (code text)".
class ResultCodeException : public ExceptionBase<ResultCodeException, Exception> {
 public:
  ResultCodeException(const char* file, int line, result_t code, std::string_view text = {});
  result_t code() const { return code_; }

 private:
  result_t code_;
};

// The service locator could not supply interface `iid` of service `serviceKey`.
class GetInterfaceException : public exception {
 public:
  GetInterfaceException(result_t code, std::uint32_t iid, std::uint32_t serviceKey);
  result_t code() const { return code_; }
  std::optional<result_t> result() const override { return code_; }
  std::uint32_t iid() const { return iid_; }
  std::uint32_t serviceKey() const { return serviceKey_; }

 private:
  result_t code_;
  std::uint32_t iid_;
  std::uint32_t serviceKey_;
};

}  // namespace zel

// Throws a ResultCodeException that records this source file and line.
#define ZEL_THROW_RESULT(code, text) \
  throw ::zel::ResultCodeException(__FILE_NAME__, __LINE__, (code), (text))

#endif  // VOR_RUNTIME_EXCEPTION_H_
