// The evaluator has short-cuts (file URL paths read in place, constants folded
// once, ASCII compared without ICU). Each must answer exactly as the general
// route does, which these tests check on the same inputs.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Predicate/Predicate.h"

namespace {

using kq::Array;
using kq::Dictionary;
using kq::Predicate;
using kq::URL;
using kq::Value;

const std::vector<std::string> kNames = {
    "Editor.app", "EDITOR.APP", "Café.app", "Cafe\u0301.APP", "Straße", "STRASSE", "résumé.pdf",
    ".hidden",    "a*b",        "x",        "com.example.Editor.plist", "\u212a.kelvin"};
const std::vector<std::string> kNeedles = {".app", "É.APP", "cafe", "ss", "SSE", "r?sum*", "*", "a\\*b",
                                           "com.*.plist", "K", "é", ""};
const char* const kOperators[] = {"BEGINSWITH", "ENDSWITH", "CONTAINS", "LIKE", "==", "<"};
const char* const kFlags[] = {"", "[c]", "[d]", "[cd]"};

TEST(PredicateFastPath, FileURLShortcutAgreesWithTheGeneralRoute) {
    for (const auto& name : kNames) {
        const URL url = URL::fileURLWithPath("/Users/someone/Library/" + name);
        const Value asRecord(Dictionary{{"path", url.path()}, {"lastPathComponent", name}, {"needle", ""}});
        for (const char* op : kOperators)
            for (const char* flags : kFlags)
                for (const auto& needle : kNeedles)
                    for (const std::string key : {"path", "lastPathComponent"}) {
                        const std::string constant = key + " " + op + flags + " %@";
                        SCOPED_TRACE(constant + " with " + needle + " on " + name);
                        const bool expected = Predicate::predicateWithFormat(key + " " + op + flags + " $needle")
                                                  ->evaluateWithObject(asRecord, Dictionary{{"needle", needle}});
                        const auto prepared = Predicate::predicateWithFormat(constant, {Value(needle)});
                        EXPECT_EQ(prepared->evaluateWithObject(url), expected);
                        EXPECT_EQ(prepared->evaluateWithObject(Value(url)), expected);
                        EXPECT_EQ(prepared->evaluateWithObject(asRecord), expected);
                    }
    }
}

TEST(PredicateFastPath, FoldedArrayConstantsAgreeWithVariables) {
    const Array candidates{"CAFÉ", "cafe", "Straße", 7, Value()};
    for (const char* flags : kFlags) {
        const auto prepared = Predicate::predicateWithFormat(std::string("SELF IN") + flags + " %@", {Value(candidates)});
        const auto variable = Predicate::predicateWithFormat(std::string("SELF IN") + flags + " $list");
        for (const Value& probe : {Value("café"), Value("Cafe"), Value("STRASSE"), Value(7.0), Value("x")}) {
            SCOPED_TRACE(std::string(flags) + " " + kq::describe(probe));
            EXPECT_EQ(prepared->evaluateWithObject(probe),
                      variable->evaluateWithObject(probe, Dictionary{{"list", candidates}}));
        }
    }
    EXPECT_TRUE(Predicate::predicateWithFormat("SELF IN[cd] %@", {Value(candidates)})->evaluateWithObject(Value("CAFE")));
    EXPECT_FALSE(Predicate::predicateWithFormat("SELF IN %@", {Value(candidates)})->evaluateWithObject(Value("CAFE")));
}

TEST(PredicateFastPath, URLArraysAndStringAccessors) {
    const Value record(Dictionary{
        {"apps", Array{URL::fileURLWithPath("/Applications/Mail.app"), URL::fileURLWithPath("/Applications/Notes.app")}},
        {"file", "/tmp/Report.Final.PDF"},
    });
    EXPECT_TRUE(Predicate::predicateWithFormat(
                    "ANY apps.lastPathComponent ==[c] 'notes.APP' AND ALL apps.path BEGINSWITH '/Applications/' AND "
                    "%@ IN apps AND file.pathExtension ==[c] 'pdf' AND file.length == 21 AND "
                    "file.lastPathComponent.stringByDeletingPathExtension == 'Report.Final'",
                    {Value(URL::fileURLWithPath("/Applications/Mail.app"))})
                    ->evaluateWithObject(record));
}

TEST(PredicateFastPath, SharedPredicateEvaluatesOnManyThreads) {
    const auto predicate = Predicate::predicateWithFormat(
        "lastPathComponent MATCHES[c] '[a-z]+[0-9]*\\\\.APP' AND path ENDSWITH[cd] %@", {Value(".app")});
    std::vector<URL> urls;
    for (int i = 0; i < 200; ++i)
        urls.push_back(URL::fileURLWithPath("/Applications/Tool" + std::to_string(i) + (i % 2 ? ".app" : ".pkg")));
    std::vector<int> counts(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 20; ++round)
                for (const URL& url : urls) counts[t] += predicate->evaluateWithObject(url);
        });
    }
    for (auto& thread : threads) thread.join();
    for (int count : counts) EXPECT_EQ(count, 20 * 100);
}

}  // namespace
