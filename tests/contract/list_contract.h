// What holds for every list: a block sized for the entries that there should be, and a text of their names, each led by
// a plus sign. A table's row says what is particular to one list.
#pragma once

#include "harness/record_test.h"

// A list of what there is, or belongs to the cluster "web", or to its port 80.
struct List {
    Method method;
    jint (*ask)(jobject list, jstring cluster, jint port); // a list without them takes no notice of cluster and port
    void (*count)(uint32_t entries);                       // tells the library that there are so many
    Image (*request)(uint32_t entries);                    // what is sent then: what it holds before its entries
    std::size_t nameAt;                                    // where the first entry has its name
    std::size_t stride;                                    // from one entry to the next
    std::size_t width;                                     // of a name; 0 when an entry is a port
    std::size_t countAt;                                   // where the reply says how many entries it has
    bool believesReply;                                    // whether so many are read, or as many as were asked for
    std::vector<ReasonRow> statuses;                       // for the executor's reasons
    Image (*report)() = nullptr; // what is sent first, for the report that tells how many there are
};

// Asks for a list with what the library allocates and obtains from Java counted.
struct ListTest : LibraryTest {
    void SetUp() override;

    jint counted(const std::function<jint()> &ask);
    void expectNothingHeld() const;

    jobject list = nullptr;
    int failing = 0;            // the allocation that is to fail, from 1
    int held = -1;              // blocks of memory that the call left
    std::size_t references = 1; // local references and strings' characters that the call left
    std::vector<std::size_t> sizes;
};

struct ListContract : ListTest, testing::WithParamInterface<List> {
    void SetUp() override;

    // The executor has entries with these names, and says of its reply that it has filled `replied` of them.
    static void give(const Names &names, int32_t replied);
    static void give(const Names &names);

    jint ask(jint port = 80);

    // Asking ends with this status after these commands; the list stays empty, and nothing is left.
    void expectNoList(jint status, const std::vector<int32_t> &commands, jint port = 80);

    jstring cluster = nullptr;
};

struct ListAfterReportContract : ListContract {}; // of lists whose number of entries a report tells
struct ListOfNamesContract : ListContract {};     // of lists whose entries are not ports
struct ListOfClusterContract : ListContract {};
struct ListOfPortContract : ListContract {};
