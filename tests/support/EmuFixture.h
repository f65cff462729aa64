// Test fixture: a fresh emulated engine and helpers to look at what the plug-in did.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "emu/Engine.h"

namespace ylmtest {

struct LogMatch {
    int level;
    int module;
    std::string file;
    std::string text;
};

class EmuTest : public ::testing::Test {
  protected:
    void SetUp() override { emu::Engine::instance().reset(); }
    emu::Engine& engine() { return emu::Engine::instance(); }

    // Texts of the captured lines of one source file, in order.
    std::vector<std::string> logTexts(const std::string& file) const {
        std::vector<std::string> out;
        for (const auto& l : emu::Engine::instance().logs) {
            if (l.file == file) {
                out.push_back(l.text);
            }
        }
        return out;
    }

    // The first captured line with exactly this text, or null.
    const emu::LogLine* findLog(const std::string& text) const {
        for (const auto& l : emu::Engine::instance().logs) {
            if (l.text == text) {
                return &l;
            }
        }
        return nullptr;
    }

    // True when a line with this text, level, module and file was logged.
    bool logged(int level, int module, const std::string& file, const std::string& text) const {
        for (const auto& l : emu::Engine::instance().logs) {
            if (l.level == level && l.module == module && l.file == file && l.text == text) {
                return true;
            }
        }
        return false;
    }

    size_t countLog(const std::string& text) const {
        size_t n = 0;
        for (const auto& l : emu::Engine::instance().logs) {
            n += l.text == text ? 1 : 0;
        }
        return n;
    }
};

// Reads a file of ../shared/fixtures/real-daemons as it is.
std::string fixture(const std::string& name);

}  // namespace ylmtest
