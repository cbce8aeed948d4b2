// The data-ref pool behind VORNIsDataRefGood: records come from blocks that
// are linked oldest to newest, and only a slot already handed out is a ref.

#include "LibraryFixture.h"
#include "VORN/VORNDataAccess.h"
#include "VORNDataAccessInternal.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using namespace vorntest;

namespace {

class LookupIndexTest : public LibraryTest {};

TEST_F(LookupIndexTest, TheDataRefPoolGrowsByBlocksAndKnowsWhichSlotsAreHandedOut)
{
    VORNRegisterHostPlugin();
    const int a = AddPlugin("A", "t.a");
    Record(a).errorCallback = RecordError;
    StDispatchCallback as(a);
    const std::string prefix = "test/pool/" + std::to_string(VORNDataRefRecordCount()) + "/";
    std::vector<VORNDataRef> refs;
    while (VORNOldestDataRefBlock() == nullptr || VORNOldestDataRefBlock()->next == nullptr ||
           VORNOldestDataRefBlock()->next->next == nullptr)  // three blocks
        refs.push_back(VORNRegisterDataAccessor(
            (prefix + std::to_string(refs.size())).c_str(), VORN_DATA_INT, 1,
            +[](void*) { return 7; }, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    const DataRefBlock* newest = VORNNewestDataRefBlock();
    EXPECT_EQ(refs.back(), &newest->records[0]);
    for (VORNDataRef ref : refs)
        EXPECT_EQ(VORNIsDataRefGood(ref) * 10 + VORNGetDatai(ref), 17);
    auto slot = [&](int n) { return const_cast<VORNDataRef>(&newest->records[n]); };
    EXPECT_EQ(VORNIsDataRefGood(slot(1)) + VORNIsDataRefGood(slot(kDataRefBlockCapacity - 1)), 0);
    auto inside = [&](int bytes) {
        return reinterpret_cast<VORNDataRef>(reinterpret_cast<char*>(refs.back()) + bytes);
    };
    EXPECT_EQ(VORNIsDataRefGood(inside(8)) + VORNIsDataRefGood(inside(sizeof(VORNData_t) - 1)), 0);
    VORNUnregisterDataAccessor(slot(1));
    EXPECT_EQ(gErrors, std::vector<std::string>{"Dataref is illegal and cannot be unregistered."});
}

}  // namespace
