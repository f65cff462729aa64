// Test fixture: a fresh emulated engine and one view of what the plug-in logged.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "emu/Engine.h"

namespace ylmtest {

using Strings = std::vector<std::string>;
using ::testing::Contains;
using ::testing::Not;

class EmuTest : public ::testing::Test {
  protected:
    void SetUp() override { emu::Engine::instance().reset(); }
    emu::Engine& engine() { return emu::Engine::instance(); }

    // One source file's captured lines as "level text" from minLevel up, in order, each checked
    // to carry that file's module; "line level text" where the line number is part of the
    // contract.
    static Strings logs(const std::string& file, int minLevel = 0, bool withLine = false) {
        const int module = file == "src/WifiInformationElementParser" ? 10355
                           : file == "src/HostapdWrapper"             ? 10359
                                                                      : 10357;
        Strings out;
        for (const auto& l : emu::Engine::instance().logs) {
            if (l.file == file && l.level >= minLevel) {
                EXPECT_EQ(l.module, module) << l.text;
                out.push_back((withLine ? std::to_string(l.line) + " " : "") +
                              std::to_string(l.level) + " " + l.text);
            }
        }
        return out;
    }
    // The same lines joined, each followed by "; ", for transcripts that read as one text.
    static std::string transcript(const std::string& file, int minLevel = 0,
                                  bool withLine = false) {
        std::string out;
        for (const std::string& l : logs(file, minLevel, withLine)) {
            out += l + "; ";
        }
        return out;
    }
};

// Reads a file of tests/fixtures/real-daemons as it is.
std::string fixture(const std::string& name);

}  // namespace ylmtest
