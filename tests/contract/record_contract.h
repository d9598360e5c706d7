// What holds for every kind of object that is configured: tables say what is particular to one, the tests of the
// contract are the same for all. A new setting is one row.
#pragma once

#include "contract/values.h"
#include "harness/record_test.h"

#include <span>

// A setting in the order in which the library reads them. Without a flag's name it is none: its fields are looked up at
// this point whatever the flags say.
struct Setting {
    Flag flag;
    std::vector<values::Value> values;
    void (*also)(Image &image) = nullptr; // what else the record is to hold when the flag is 1
};

// Rows of settings that have one flag and one value each.
std::vector<Setting> rowsOf(std::span<const OneValueSetting> settings);

enum class FlagsGoBack { never, always, whenRefused };

struct Settings {
    jobject (*make)(); // an object whose settings are all unset
    std::vector<Setting> rows;
    FlagsGoBack goBack;
    std::vector<Flag> otherFlags = {}; // that go back too
};

// Gives an object all its settings, their flags set, and what the record is to hold then.
void giveAll(jobject object, const Settings &settings);
void expectAll(Image &image, const Settings &settings);
void setFlags(jobject object, const Settings &settings, int flag);
void putFlags(Image &image, const Settings &settings, int flag);

// A native method that writes settings.
struct Writing {
    Method method;
    const Settings *settings;
    Image (*nothingSet)(int32_t command); // what it sends when no flag is set
    Names before;                         // the fields that it looks up before the settings
};

// A native method that reads a record into an object.
struct Reading {
    Method method;
    jobject (*make)();
    Image (*request)(int32_t command);
    Names keys;                              // the fields that it looks up to ask
    std::vector<values::Value> values;       // in the order in which it sets them
    ReasonRow refusal;                       // one of the executor's reasons
    void (*prepare)(Image &reply) = nullptr; // what else the reply must hold
};

// The values that reading sets: those of settings and others, in the order of their places.
std::vector<values::Value> inOrderOfReading(const Settings &settings, const std::vector<values::Value> &others);

// A native method that takes one object.
struct Call {
    Method method;
    const char *object; // its name in an exception
    jobject (*make)();
    std::vector<ReasonRow> statuses = {}; // for the executor's reasons; without any its result is the status
    std::size_t portAt = 0;               // where the block holds the port, for methods that check it
    std::size_t nameAt = 0;               // where the block holds the name of the rule, for methods that check it
    int clusterId = 1;                    // the request for characters, from 1, that is for the cluster's identifier
    const char *port = "PortNumber";      // the port's field
    void (*prepare)() = nullptr;          // answers that the method needs
    jint (*call)(const char *method, jobject object) = java::call;
};

struct WritingContract : LibraryTest, testing::WithParamInterface<Writing> {};
struct ReadingContract : LibraryTest, testing::WithParamInterface<Reading> {};
struct ObjectContract : LibraryTest, testing::WithParamInterface<Call> {};   // any method
struct PortContract : LibraryTest, testing::WithParamInterface<Call> {};     // methods that check a port
struct ClusterContract : LibraryTest, testing::WithParamInterface<Call> {};  // methods that want a cluster's identifier
struct RuleNameContract : LibraryTest, testing::WithParamInterface<Call> {}; // methods that check a rule's name
