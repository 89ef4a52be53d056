// SHA-1 against OpenSSL's. OPENSSL_ia32cap=:~0x20000000 in the environment takes the SHA instructions from OpenSSL.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <vector>

#include "sha1.h"
#include "sha1Blocks.h"

namespace {

const std::vector<uint8_t>& message(int64_t size) {
  static std::vector<uint8_t> bytes;
  bytes.assign(static_cast<size_t>(size), 0x5A);
  return bytes;
}

void ownWith(benchmark::State& state, SHA1BlockFunction function) {
  const std::vector<uint8_t>& bytes = message(state.range(0));
  setSHA1BlockFunction(function);
  for (auto _ : state) {
    SHA1Context context;
    SHA1Reset(&context);
    SHA1Input(&context, bytes.data(), static_cast<uint32_t>(bytes.size()));
    SHA1Result(&context);
    benchmark::DoNotOptimize(context);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
  setSHA1BlockFunction(nullptr);
}

void Chosen(benchmark::State& state) { ownWith(state, nullptr); }
void Portable(benchmark::State& state) { ownWith(state, SHA1ProcessBlocksPortable); }

void OpenSSL(benchmark::State& state) {
  const std::vector<uint8_t>& bytes = message(state.range(0));
  EVP_MD* const sha1 = EVP_MD_fetch(nullptr, "SHA1", nullptr);
  EVP_MD_CTX* const context = EVP_MD_CTX_new();
  unsigned char digest[20];
  for (auto _ : state) {
    EVP_DigestInit_ex2(context, sha1, nullptr);
    EVP_DigestUpdate(context, bytes.data(), bytes.size());
    EVP_DigestFinal_ex(context, digest, nullptr);
    benchmark::DoNotOptimize(digest);
  }
  EVP_MD_CTX_free(context);
  EVP_MD_free(sha1);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

BENCHMARK(Chosen)->Arg(163)->Arg(1024)->Arg(16384)->Arg(1 << 20);
BENCHMARK(Portable)->Arg(163)->Arg(1024)->Arg(16384)->Arg(1 << 20);
BENCHMARK(OpenSSL)->Arg(163)->Arg(1024)->Arg(16384)->Arg(1 << 20);

}  // namespace

BENCHMARK_MAIN();
