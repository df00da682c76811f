/* SPDX-License-Identifier: MIT */
/* What would be lost of the configuration if an earlier version had to read it. */
#include "api/query_fixture.h"
#include "config/config_state.h"
#include "config/declared_schemas.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace vorn::tests {

namespace {

class Downgrades : public QueryTest {
protected:
    Downgrades()
    {
        vorn_class *saved =
            ClassBuilder("Saved").persistent().with("power").with("range").add_resolved();
        for (const char *name : {"a", "b"})
            vorn_instances_add(
                running_config,
                new_instance(saved, name, {{"power", name}, {"range", name}}).release());
        schemas.declare("radio", 2,
                        {VORN_DEFAULT_VALUE(2, "Saved", "power", "a"),
                         VORN_DEFAULT_VALUE(2, "Saved", "range", "a")});
        schemas.declare("time", 1);
    }

    DeclaredSchemas schemas;
};

std::string explanation(const std::string &inside)
{
    return "<explanation>" + inside + "</explanation>";
}

} // namespace

TEST_F(Downgrades, NameWhatIsLostOneVersionBack)
{
    EXPECT_EQ(ask("<explain downgrade=\"\"/>"),
              explanation("<versions>radio=1 time=0</versions>"
                          "<lost>Saved \"b\": range: there is none before version 2</lost>"
                          "<lost>Saved \"b\": power: there is none before version 2</lost>"
                          "<rc>0</rc>"));
    EXPECT_EQ(ask("<explain downgrade=\"time=0\"/>"),
              explanation("<versions>time=0</versions><rc>0</rc>"));
}

TEST_F(Downgrades, AreToVersionsThatThereWere)
{
    for (const char *versions : {"radio=3", "zone=0", "radio"}) {
        EXPECT_EQ(ask("<explain downgrade=\"" + std::string(versions) + "\"/>"),
                  explanation("<error>These are no versions that the plugins of this device "
                              "had.</error><rc>1</rc>"));
    }
}

TEST_F(Downgrades, AreNotAskedForByAnotherRequest)
{
    EXPECT_NE(ask("<lsql downgrade=\"\"/>").find("Incomplete lsql request."), std::string::npos);
}

TEST_F(Downgrades, AreWholeOrNotThereWithoutMemory)
{
    FailEachAllocation(
        [] {
            char *answer = vorn_query_eval("<explain downgrade=\"\"/>");
            const AllocationsAllowed allowed;
            const std::string said = answer ? answer : "";
            std::free(answer);
            EXPECT_EQ(said.find("<lost>Saved \"b\"") == std::string::npos, AllocationFailed());
        },
        10);
}

} // namespace vorn::tests
