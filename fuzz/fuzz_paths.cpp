// Fuzzes the two path utilities that write into caller memory, with the
// caller's buffers between guard bytes (and guard slots) that must not change.
// VORNExtractFileAndPath splits arbitrary text; VORNGetDirectoryContents lists
// a scratch folder laid out from the input (any name bytes but '/' and NUL)
// with the input's offsets, buffer sizes and index counts. Both are compared
// byte for byte with a model; finally the folder is paged through and every
// name must come back exactly once, in readdir's order.

#include "VORN/VORNUtilities.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

const size_t kGuard = 32;
const char kGuardByte = '\xA5';
char gGuardTarget;  // guard slots point here; the library never hands it out
char* const kGuardSlot = &gGuardTarget;

void Check(bool ok, const char* what)
{
    if (!ok) {
        std::fprintf(stderr, "fuzz_paths: %s\n", what);
        std::abort();
    }
}

// The model of the split: one trailing separator dropped, the last one cut.
void FuzzExtract(const std::string& text)
{
    const size_t n = text.size();
    std::vector<char> buffer(kGuard + n + 1 + kGuard, kGuardByte);
    std::memcpy(&buffer[kGuard], text.c_str(), n + 1);

    std::vector<char> expected = buffer;
    char* s = &expected[kGuard];
    size_t length = n;
    if (length > 0 && s[length - 1] == '/')
        s[--length] = '\0';
    const size_t cut = std::string(s, length).rfind('/');
    if (cut != std::string::npos)
        s[cut] = '\0';
    const size_t fileAt = cut != std::string::npos ? cut + 1 : 0;
    char* const start = &buffer[kGuard];
    const char* result = VORNExtractFileAndPath(start);
    Check(result >= start && result <= start + n, "file part points outside the path");
    Check(static_cast<size_t>(result - start) == fileAt, "file part starts at the wrong place");
    Check(buffer == expected, "path buffer differs from the model (or a guard byte changed)");
}

// One call's arguments; sizes and counts may be zero or negative.
struct Request {
    bool nullPath = false, withNames = true, withIndices = true, withTotal = true;
    bool withReturned = true;
    int offset = 0, bufSize = 0, indexCount = 0;
};

// What one call must leave behind, guards included. Negative sizes and counts
// are taken as no room at all.
struct Outcome {
    explicit Outcome(const Request& rq)
        : names(kGuard + std::max(rq.bufSize, 0) + kGuard, kGuardByte),
          slots(kGuard + std::max(rq.indexCount, 0) + 1 + kGuard, kGuardSlot)
    {
    }
    int result = 0, returned = 0;
    std::vector<char> names;
    std::vector<char*> slots;
};

Outcome Model(const std::vector<std::string>& order, const Request& rq, char* namesBase)
{
    Outcome out(rq);
    long room = (rq.withNames && rq.bufSize > 0) ? rq.bufSize : 0;
    const int slotCount = std::max(rq.indexCount, 0);
    const int total = static_cast<int>(order.size());
    size_t used = 0;
    bool allDelivered = true;
    for (int i = rq.offset; rq.offset >= 0 && i < total; ++i) {
        const std::string& name = order[static_cast<size_t>(i)];
        const size_t need = name.size() + 1;
        if (static_cast<long>(need) > room || (rq.withIndices && out.returned >= slotCount)) {
            allDelivered = false;
            break;
        }
        if (rq.withIndices)
            out.slots[kGuard + out.returned] = namesBase + used;
        std::memcpy(&out.names[kGuard + used], name.c_str(), need);
        used += need;
        room -= static_cast<long>(need);
        ++out.returned;
    }
    if (allDelivered && room > 0 && (!rq.withIndices || out.returned != slotCount)) {
        out.result = 1;
        if (rq.withNames)
            out.names[kGuard + used] = '\0';
        if (rq.withIndices)
            out.slots[kGuard + out.returned] = nullptr;
    }
    return out;
}

// Makes the call with guarded buffers, checks it against the model and
// returns the outcome.
Outcome Call(const std::string& dir, const std::vector<std::string>& order, const Request& rq)
{
    Outcome got(rq);
    int total = -7, returned = -7;
    got.result = VORNGetDirectoryContents(rq.nullPath ? nullptr : dir.c_str(), rq.offset,
                                          rq.withNames ? &got.names[kGuard] : nullptr, rq.bufSize,
                                          rq.withIndices ? &got.slots[kGuard] : nullptr,
                                          rq.indexCount, rq.withTotal ? &total : nullptr,
                                          rq.withReturned ? &returned : nullptr);
    const Outcome want =
        Model(rq.nullPath ? std::vector<std::string>() : order, rq, &got.names[kGuard]);
    Check(got.result == want.result, "result differs from the model");
    Check(got.names == want.names, "names buffer differs from the model (or a guard byte changed)");
    Check(got.slots == want.slots, "index slots differ from the model (or a guard slot changed)");
    Check(total == (rq.withTotal ? static_cast<int>(rq.nullPath ? 0 : order.size()) : -7),
          "wrong total");
    Check(returned == (rq.withReturned ? want.returned : -7), "wrong returned count");
    got.returned = want.returned;
    return got;
}

// The scratch folder, below one folder per process, in memory when the
// machine has a tmpfs (creating and removing entries on disk is slow enough to
// dominate the run).
char gScratchRoot[64];

std::string ScratchFolder()
{
    if (gScratchRoot[0] == '\0') {
        const char* base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        std::snprintf(gScratchRoot, sizeof gScratchRoot, "%s/vorn-fuzz-paths-XXXXXX", base);
        Check(mkdtemp(gScratchRoot) != nullptr, "mkdtemp failed");
        std::atexit([] {
            std::error_code ignored;
            fs::remove_all(gScratchRoot, ignored);
        });
    }
    return std::string(gScratchRoot) + "/d";
}

std::string NameFrom(FuzzedDataProvider& in, size_t index)
{
    std::string name = in.ConsumeBytesAsString(in.ConsumeIntegralInRange<size_t>(1, 255));
    std::replace(name.begin(), name.end(), '/', '_');
    std::replace(name.begin(), name.end(), '\0', '_');
    if (name.empty() || name == "." || name == "..")
        name = "n" + std::to_string(index);
    return name;
}

// Creates the folder afresh with up to 40 entries named from the input.
std::set<std::string> LayOut(FuzzedDataProvider& in, const std::string& dir)
{
    std::error_code ignored;
    fs::remove_all(dir, ignored);
    Check(mkdir(dir.c_str(), 0700) == 0, "cannot create the scratch folder");
    std::set<std::string> names;
    const size_t count = in.ConsumeIntegralInRange<size_t>(0, 40);
    for (size_t i = 0; i < count; ++i) {
        const std::string name = NameFrom(in, i);
        const std::string path = dir + "/" + name;
        const int fd = in.ConsumeIntegralInRange<int>(0, 3) == 0
                           ? mkdir(path.c_str(), 0700)
                           : open(path.c_str(), O_CREAT | O_WRONLY, 0600);
        if (fd > 0)
            close(fd);
        if (fd >= 0)
            names.insert(name);
    }
    return names;
}

Request RandomRequest(FuzzedDataProvider& in, int total, int bytesNeeded)
{
    Request rq;
    rq.nullPath = in.ConsumeIntegralInRange<int>(0, 15) == 0;
    rq.offset = in.ConsumeBool() ? in.ConsumeIntegralInRange<int>(-2, total + 2)
                                 : in.ConsumeIntegral<int>();
    rq.withNames = in.ConsumeIntegralInRange<int>(0, 7) != 0;
    rq.bufSize = in.ConsumeIntegralInRange<int>(-3, bytesNeeded + 4);
    rq.withIndices = in.ConsumeIntegralInRange<int>(0, 3) != 0;
    rq.indexCount = in.ConsumeIntegralInRange<int>(-3, total + 3);
    rq.withTotal = in.ConsumeBool();
    rq.withReturned = in.ConsumeBool();
    return rq;
}

// Pages through the folder with the input's page sizes; a page too small for
// the next name is grown. Every name must come back once, in order.
void PageThrough(FuzzedDataProvider& in, const std::string& dir,
                 const std::vector<std::string>& order)
{
    Request rq;
    rq.bufSize = in.ConsumeIntegralInRange<int>(1, 600);
    rq.withIndices = in.ConsumeBool();
    rq.indexCount = in.ConsumeIntegralInRange<int>(1, 8);
    std::vector<std::string> seen;
    for (size_t calls = 0;; ++calls) {
        Check(calls <= 2 * order.size() + 2, "paging does not come to an end");
        const Outcome page = Call(dir, order, rq);
        const char* p = &page.names[kGuard];
        for (int i = 0; i < page.returned; ++i, p += std::strlen(p) + 1)
            seen.push_back(p);
        rq.offset += page.returned;
        if (page.result == 1)
            break;
        if (page.returned == 0) {
            Check(rq.offset < static_cast<int>(order.size()), "empty page without success");
            rq.bufSize = std::max<int>(rq.bufSize, order[rq.offset].size() + 1);
        }
    }
    Check(seen == order, "paging did not return every name exactly once, in order");
}

void FuzzDirectory(FuzzedDataProvider& in)
{
    const std::string dir = ScratchFolder();
    const std::set<std::string> made = LayOut(in, dir);
    std::vector<std::string> order;  // in the order the operating system gives them
    for (const fs::directory_entry& entry : fs::directory_iterator(dir))
        order.push_back(entry.path().filename().string());
    Check(std::set<std::string>(order.begin(), order.end()) == made &&
              order.size() == made.size(), "readdir does not show what was created");
    int bytesNeeded = 1;
    for (const std::string& name : order)
        bytesNeeded += static_cast<int>(name.size()) + 1;

    const int calls = in.ConsumeIntegralInRange<int>(0, 4);
    for (int i = 0; i < calls; ++i)
        Call(dir, order, RandomRequest(in, static_cast<int>(order.size()), bytesNeeded));
    PageThrough(in, dir, order);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    const std::string text = in.ConsumeRandomLengthString(600);
    FuzzExtract(text.substr(0, text.find('\0')));
    FuzzDirectory(in);
    return 0;
}
