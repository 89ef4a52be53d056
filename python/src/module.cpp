// kmhash._kmhash: the C interface with its result codes as they are, over a path or over a Python object that reads and
// seeks. The interpreter's lock is given back for the time of a call.

#include <kmhash.h>
#include <nanobind/nanobind.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/tuple.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <tuple>
#include <utility>

namespace nb = nanobind;

namespace {

constexpr int kSeekEnd = 2;

// ---- What is hashed ----

// A Python object, for one call. What it raises is kept and raised again after the call; it is not asked any more.
struct Reader {
  nb::handle object;
  uint64_t size;
  uint64_t position;  // of the callbacks
  std::exception_ptr raised;
};

[[noreturn]] void raiseNothingYet() {
  const nb::tuple told = nb::make_tuple(EAGAIN, "read() gave nothing yet: a file that does not block");
  PyErr_SetObject(PyExc_BlockingIOError, told.ptr());
  throw nb::python_error();
}

int64_t readOnce(const Reader& reader, uint64_t offset, void* buffer, uint32_t count) {
  reader.object.attr("seek")(offset);
  const nb::object data = reader.object.attr("read")(count);
  if (PyErr_CheckSignals() != 0) throw nb::python_error();
  if (data.is_none()) raiseNothingYet();
  if (!nb::isinstance<nb::bytes>(data)) throw nb::type_error("read() did not return bytes: not a binary file");
  const nb::bytes bytes = nb::borrow<nb::bytes>(data);
  if (bytes.size() > count) throw nb::value_error("read() returned more bytes than it was asked for");
  std::memcpy(buffer, bytes.c_str(), bytes.size());
  return static_cast<int64_t>(bytes.size());
}

int64_t readAt(void* user, uint64_t offset, void* buffer, uint32_t count) {
  Reader* reader = static_cast<Reader*>(user);
  const nb::gil_scoped_acquire lock;
  if (reader->raised) return HASHCREATE_ERROR;
  try {
    return readOnce(*reader, offset, buffer, count);
  } catch (...) {
    reader->raised = std::current_exception();
    return HASHCREATE_ERROR;
  }
}

uint64_t sizeOf(nb::handle file) {
  nb::object end = file.attr("seek")(0, kSeekEnd);
  if (end.is_none()) end = file.attr("tell")();  // such as an mmap
  uint64_t size = 0;
  if (!nb::try_cast(end, size)) throw nb::type_error("seek() did not return a position");
  return size;
}

// A quick hash is made through callbacks; the path that they get is the reader.
void* openReader(const char* path) { return const_cast<char*>(path); }

uint32_t readReader(void* buffer, uint32_t count, void* handle) {
  Reader* reader = static_cast<Reader*>(handle);
  if (count == 0 || reader->position >= reader->size) return 0;
  const int64_t n = readAt(reader, reader->position, buffer, count);
  if (n < 0) return 0;
  reader->position += static_cast<uint64_t>(n);
  return static_cast<uint32_t>(n);
}

int seekReader(int64_t offset, int /*whence, always relative*/, void* handle) {
  static_cast<Reader*>(handle)->position += static_cast<uint64_t>(offset);
  return 0;
}

void closeReader(void*) {}

int64_t sizeOfReader(const char*, void* handle) { return static_cast<int64_t>(static_cast<Reader*>(handle)->size); }

constexpr KmhashFileCallbacks kReaderCallbacks = {openReader, readReader, seekReader, closeReader, sizeOfReader};

// The file of one call: a path as bytes, or an object that reads and seeks.
class Input {
 public:
  explicit Input(nb::handle file) {
    if (nb::isinstance<nb::bytes>(file)) {
      path_ = nb::borrow<nb::bytes>(file).c_str();
    } else {
      reader_ = {file, sizeOf(file), 0, nullptr};
      source_ = {sizeof(source_), reader_.size, &reader_, readAt};
    }
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  // Calls one of two functions, which differ in their first argument alone.
  template <typename OfFile, typename OfSource, typename... Arguments>
  int call(OfFile ofFile, OfSource ofSource, Arguments... arguments) {
    return released([&] { return path_ != nullptr ? ofFile(path_, arguments...) : ofSource(&source_, arguments...); });
  }

  int quick(char* text) {
    const char* path = path_ != nullptr ? path_ : reinterpret_cast<const char*>(&reader_);
    const KmhashFileCallbacks* callbacks = path_ != nullptr ? nullptr : &kReaderCallbacks;
    return released([=] { return createQuickFileHash(path, text, KMHASH_TEXT_SIZE, callbacks); });
  }

 private:
  template <typename Work>
  int released(Work work) {
    int code = 0;
    {
      const nb::gil_scoped_release release;
      code = work();
    }
    if (reader_.raised) std::rethrow_exception(std::exchange(reader_.raised, nullptr));
    return code;
  }

  const char* path_ = nullptr;
  Reader reader_{};
  KmhashSource source_{};
};

// ---- Functions ----

// A hash text of NULs when there is none.
struct Text {
  char characters[KMHASH_TEXT_SIZE] = {};
  nb::str str() const { return nb::steal<nb::str>(PyUnicode_DecodeLatin1(characters, KMHASH_TEXT_SIZE - 1, nullptr)); }
};

std::pair<int, nb::str> hash(nb::handle file, uint32_t flags) {
  Text text;
  const int code = Input(file).call(kmhashHashFile, kmhashHashSource, flags, text.characters, uint32_t{sizeof(text)});
  return {code, text.str()};
}

std::pair<int, nb::str> hashQuick(nb::handle file) {
  Text text;
  const int code = Input(file).quick(text.characters);
  return {code, text.str()};
}

std::tuple<int, nb::str, nb::str> hashBoth(nb::handle file, uint32_t flags) {
  Text sampled, whole;
  const int code = Input(file).call(kmhashHashFileBoth, kmhashHashSourceBoth, flags, sampled.characters,
                                    whole.characters, uint32_t{sizeof(sampled)});
  return {code, sampled.str(), whole.str()};
}

int identify(nb::handle file, uint32_t flags) {
  return Input(file).call(kmhashIdentifyFile, kmhashIdentifySource, flags);
}

int verify(nb::handle file, const char* storedHash) {
  return Input(file).call(kmhashVerifyFile, kmhashVerifySource, storedHash);
}

// ---- Names and numbers, which the library and its header tell ----

struct Constant {
  const char* name;
  int value;
};
constexpr Constant kConstants[] = {
    {"PREFER_VERSION_4", KMHASH_PREFER_VERSION_4},       {"WHOLE", KMHASH_WHOLE},
    {"DIFFERENT_CONTENT", KMHASH_DIFFERENT_CONTENT},     {"DIFFERENT_META", KMHASH_DIFFERENT_META},
    {"DIFFERENT_FORMAT", KMHASH_DIFFERENT_FORMAT},       {"DIFFERENT_VERSION", KMHASH_DIFFERENT_VERSION},
    {"DIFFERENT_ALGORITHM", KMHASH_DIFFERENT_ALGORITHM},
};

enum class ResultCode : int {};

void addResultCodes(nb::module_& module) {
  nb::enum_<ResultCode> codes(module, "ResultCode", nb::is_arithmetic(), "What a call answers: 0, or what failed.");
  for (int code = HASHCREATE_SUCCESS; code >= HASHCREATE_ERROR; --code) {
    if (const char* name = kmhashResultName(code)) codes.value(name, static_cast<ResultCode>(code));
  }
}

}  // namespace

NB_MODULE(_kmhash, module) {
  module.attr("VERSION") = KMHASH_VERSION;
  for (const Constant& row : kConstants) module.attr(row.name) = row.value;
  addResultCodes(module);
  module.def("hash", hash, nb::arg("file"), nb::arg("flags"));
  module.def("hash_quick", hashQuick, nb::arg("file"));
  module.def("hash_both", hashBoth, nb::arg("file"), nb::arg("flags"));
  module.def("identify", identify, nb::arg("file"), nb::arg("flags"));
  module.def("verify", verify, nb::arg("file"), nb::arg("stored_hash"));
  module.def("can_verify", kmhashCanVerify, nb::arg("hash"));
  module.def("is_whole", kmhashIsWhole, nb::arg("hash"));
  module.def("compare", compareBetweenHash, nb::arg("hash_a"), nb::arg("hash_b"));
  module.def("algorithm_name", kmhashAlgorithmName, nb::arg("algorithm_id"),
             nb::sig("def algorithm_name(algorithm_id: int) -> str | None"));
}
