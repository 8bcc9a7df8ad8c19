// memhost_session.cpp - the current session, its configuration and diagnostics, and the resolver
// that hands the entries to the plug-in.
#include "memhost_internal.h"

#include <cstdio>
#include <thread>

namespace memhost::detail {
namespace {

State* gCurrent = nullptr;  // guarded by HostLock()
uint64_t gNextSessionId = 1;

// Boolean garbage mode: a boolean entry seen through a 64-bit result. Only the low byte is the
// answer; the rest is a fixed garbage pattern that a caller must ignore.
constexpr uint64_t kGarbage = 0x5A5A5A5A5A5A5A00;

template <auto Entry>
struct WideBool;

template <class... A, int8_t (*Entry)(A...) noexcept>
struct WideBool<Entry> {
  static uint64_t Call(A... args) noexcept { return kGarbage | static_cast<uint8_t>(Entry(args...)); }
};

struct EntryRow {
  const char* name;
  void* plain;
  void* wide;  // boolean entries only: the garbage-mode variant
};

template <auto Entry>
EntryRow Plain(const char* name) {
  return {name, AddressOf(Entry), nullptr};
}

template <auto Entry>
EntryRow Boolean(const char* name) {
  return {name, AddressOf(Entry), AddressOf(&WideBool<Entry>::Call)};
}

const std::vector<EntryRow>& EntryRows() {
  static const std::vector<EntryRow> rows = {
      Plain<&entry::GetRBVersion>("REALGetRBVersion"),
      Plain<&entry::RegisterPluginVersion>("RegisterPluginVersion"),
      Boolean<&entry::GetStringData>("PluginGetStringData"),
      Plain<&entry::DisposeStringData>("PluginDisposeStringData"),
      Plain<&entry::BuildString>("REALBuildString"),
      Plain<&entry::BuildStringWithEncoding>("REALBuildStringWithEncoding"),
      Plain<&entry::LockString>("REALLockString"),
      Plain<&entry::UnlockString>("REALUnlockString"),
      Plain<&entry::GetStringEncoding>("REALGetStringEncoding"),
      Plain<&entry::SetStringEncoding>("REALSetStringEncoding"),
      Plain<&entry::ConvertString>("REALConvertString"),
      Plain<&entry::StringCompare>("RuntimeStringCompare"),
      Plain<&entry::StringGetCString>("StringGetCString"),
      Plain<&entry::NewInstance>("PluginNewInstance"),
      Plain<&entry::LockObject>("REALLockObject"),
      Plain<&entry::UnlockObject>("REALUnlockObject"),
      Plain<&entry::LoadObjectMethod>("REALLoadObjectMethod"),
      Plain<&entry::LoadGlobalMethod>("REALLoadGlobalMethod"),
      Boolean<&entry::GetPropValueString>("REALGetPropValueString"),
      Boolean<&entry::SetPropValueString>("REALSetPropValueString"),
      Boolean<&entry::GetPropValueInteger>("REALGetPropValueInteger"),
      Boolean<&entry::SetPropValueInteger>("REALSetPropValueInteger"),
      Boolean<&entry::SetPropValueUInt32>("REALSetPropValueUInt32"),
      Boolean<&entry::GetPropValueColor>("REALGetPropValueColor"),
      Boolean<&entry::GetPropValueBool>("REALGetPropValueBool"),
      Boolean<&entry::SetPropValueBoolean>("REALSetPropValueBoolean"),
      Plain<&entry::RaiseException>("RuntimeRaiseException"),
      Plain<&entry::CallFunctionWithExceptionHandler>("PluginCallFunctionWithExceptionHandler"),
      Plain<&entry::CreateArray>("RuntimeArrayCreateSingleDimBoundedArray"),
      Plain<&entry::UBound>("RuntimeUBound"),
      Plain<&entry::StringArrayInsertProc>("PluginStringArrayInsertProc"),
      Plain<&entry::MemoryBlockGetPtr>("memoryBlockGetPtr"),
      Plain<&entry::MemoryBlockGetSize>("memoryBlockGetSize"),
      Plain<&entry::YieldToRB>("REALYieldToRB"),
      Boolean<&entry::InRuntime>("REALinRuntime"),
      Plain<&entry::RegisterMethod>("PluginRegisterMethod"),
      Plain<&entry::RegisterClassExtension>("PluginRegisterClassExtension"),
      Plain<&entry::RegisterModule>("PluginRegisterModule"),
  };
  return rows;
}

}  // namespace

namespace {
thread_local int gLockDepth = 0;  // how often this thread holds HostLock()
}

void HostMutex::lock() noexcept {
  if (gLockDepth > 0) {
    ++gLockDepth;
    return;
  }
  while (held_.exchange(true, std::memory_order_acquire)) {
    while (held_.load(std::memory_order_relaxed)) std::this_thread::yield();
  }
  gLockDepth = 1;
}

void HostMutex::unlock() noexcept {
  if (--gLockDepth == 0) held_.store(false, std::memory_order_release);
}

HostMutex& HostLock() {
  static HostMutex lock;
  return lock;
}

State* Current() { return gCurrent; }

namespace {
thread_local int gHostDepth = 0;
}

HostDepth::HostDepth() noexcept { ++gHostDepth; }
HostDepth::~HostDepth() { --gHostDepth; }
OutsideHost::OutsideHost() noexcept : saved_(gHostDepth) { gHostDepth = 0; }
OutsideHost::~OutsideHost() { gHostDepth = saved_; }

bool AllocationFails(State& s) {
  ++s.allocations;
  return s.failAllocation && s.allocations == *s.failAllocation;
}

ApiGuard::ApiGuard(const char* function) : lock_(HostLock()), state_(Current()) {
  if (state_ == nullptr) throw std::logic_error(std::string("memhost::") + function + ": no session is current");
}

void Report(State& s, std::string message) { s.problems.push_back(std::move(message)); }

std::string HandleText(const void* handle) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", handle);
  return text;
}

State::~State() {
  // Objects and arrays hold string handles only; the strings themselves go last.
  pending = nullptr;
  objects.Clear();
  arrays.clear();
  strings.ForEach([](const void*, StringRecord* record) { FreeStringRecord(record); });
  strings.Clear();
}

}  // namespace memhost::detail

namespace memhost {

using namespace detail;

Session::Session(double hostVersion) {
  std::lock_guard<HostMutex> lock(HostLock());
  if (gCurrent != nullptr) throw std::logic_error("memhost::Session: another session is current");
  auto state = std::make_unique<State>();
  state->id = gNextSessionId++;
  state->hostVersion = hostVersion;
  id_ = state->id;
  gCurrent = state.release();
}

Session::~Session() {
  std::lock_guard<HostMutex> lock(HostLock());
  if (gCurrent != nullptr && gCurrent->id == id_) {
    delete gCurrent;
    gCurrent = nullptr;
  }
}

bool InsideHost() noexcept { return gHostDepth > 0; }

bool HasSession() noexcept {
  std::lock_guard<HostMutex> lock(HostLock());
  return gCurrent != nullptr;
}

uint64_t CurrentSessionId() noexcept {
  std::lock_guard<HostMutex> lock(HostLock());
  return gCurrent == nullptr ? 0 : gCurrent->id;
}

void* Resolve(const char* name) {
  Guard g;
  State* s = g.state();
  if (s == nullptr || name == nullptr) return nullptr;
  const std::string_view wanted(name);
  ++s->resolveCounts[std::string(wanted)];
  if (s->hideAll || s->hiddenEntries.count(wanted) != 0) return nullptr;
  for (const EntryRow& row : EntryRows()) {
    if (wanted == row.name) return s->booleanGarbage && row.wide != nullptr ? row.wide : row.plain;
  }
  return nullptr;
}

void SetHostVersion(double version) { ApiGuard("SetHostVersion").state().hostVersion = version; }

void SetInRuntime(bool inRuntime) { ApiGuard("SetInRuntime").state().inRuntime = inRuntime; }

void HideEntry(std::string_view name) { ApiGuard("HideEntry").state().hiddenEntries.emplace(name); }

void ShowEntry(std::string_view name) {
  ApiGuard g("ShowEntry");
  auto& hidden = g.state().hiddenEntries;
  if (auto it = hidden.find(name); it != hidden.end()) hidden.erase(it);
}

void HideAllEntries() { ApiGuard("HideAllEntries").state().hideAll = true; }

void ShowAllEntries() {
  ApiGuard g("ShowAllEntries");
  g.state().hideAll = false;
  g.state().hiddenEntries.clear();
}

void HideMethod(std::string_view declaration) { ApiGuard("HideMethod").state().hiddenMethods.emplace(declaration); }

void FailInstantiation(std::string_view className) {
  ApiGuard("FailInstantiation").state().failingClasses.emplace(className);
}

void LimitMemoryBlocks(std::optional<int64_t> maxBytes) {
  ApiGuard("LimitMemoryBlocks").state().memoryBlockLimit = maxBytes;
}

void SetMemoryBlockConstructorRaises(bool raises) {
  ApiGuard("SetMemoryBlockConstructorRaises").state().memoryBlockRaises = raises;
}

void FailAllocation(std::optional<uint64_t> n) {
  ApiGuard g("FailAllocation");
  State& s = g.state();
  s.failAllocation = n && *n > 0 ? std::optional<uint64_t>(s.allocations + *n) : std::nullopt;
}

uint64_t HostAllocations() { return ApiGuard("HostAllocations").state().allocations; }

void SetBooleanGarbage(bool on) { ApiGuard("SetBooleanGarbage").state().booleanGarbage = on; }

void SetUnterminatedStringData(bool on) {
  ApiGuard("SetUnterminatedStringData").state().unterminatedStringData = on;
}

uint64_t YieldCount() { return ApiGuard("YieldCount").state().yields; }

uint64_t ResolveCount(std::string_view name) {
  ApiGuard g("ResolveCount");
  const auto it = g.state().resolveCounts.find(name);
  return it == g.state().resolveCounts.end() ? 0 : it->second;
}

uint64_t MethodLookupCount(std::string_view declaration) {
  ApiGuard g("MethodLookupCount");
  const auto it = g.state().methodLookups.find(declaration);
  return it == g.state().methodLookups.end() ? 0 : it->second;
}

std::size_t LiveStrings() { return ApiGuard("LiveStrings").state().liveStrings; }
std::size_t LiveObjects() { return ApiGuard("LiveObjects").state().liveObjects; }
std::size_t LiveArrays() { return ApiGuard("LiveArrays").state().liveArrays; }
std::size_t OpenStringData() { return ApiGuard("OpenStringData").state().openStringData.size(); }

const std::vector<std::string>& Problems() { return ApiGuard("Problems").state().problems; }

void ClearProblems() { ApiGuard("ClearProblems").state().problems.clear(); }

std::vector<std::string> Leftovers() {
  std::vector<std::string> leftovers;
  const auto count = [&](std::size_t n, const char* what) {
    if (n != 0) leftovers.push_back(std::string(what) + ": " + std::to_string(n));
  };
  count(LiveStrings(), "host strings still held");
  count(LiveObjects(), "host objects still held");
  count(LiveArrays(), "host arrays not released");
  count(OpenStringData(), "string-data records not disposed");
  for (const std::string& problem : Problems()) leftovers.push_back("host problem: " + problem);
  return leftovers;
}

}  // namespace memhost
