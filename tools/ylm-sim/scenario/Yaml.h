// A read-only YAML tree for the scenario loader: maps, sequences and scalars, each with the line
// it starts on, so that a malformed scenario can be named by file and line. Built from the event
// parser of libyaml, a C library, so the simulator links with either C++ runtime.
#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace ylmsim::yaml {

enum class Type { Null, Scalar, Sequence, Map };

// A handle on an immutable node: copies are cheap and share it, as an alias shares its anchor's.
// A plain ~, null, Null, NULL or empty value is null (YAML 1.1); a quoted or tagged one is a
// scalar.
class Node {
  public:
    using Pair = std::pair<Node, Node>;

    Node() = default;  // null, on no line

    Type type() const;
    bool isNull() const { return type() == Type::Null; }
    bool isScalar() const { return type() == Type::Scalar; }
    bool isSequence() const { return type() == Type::Sequence; }
    bool isMap() const { return type() == Type::Map; }

    int line() const;                        // 1-based; 0 when the node comes from no text
    const std::string& scalar() const;       // empty unless a scalar
    size_t size() const;                     // entries of a sequence, pairs of a map, else 0
    const Node& operator[](size_t i) const;  // entry i of a sequence; a null node past the end

    // The pairs of a map in document order, a key given twice included; none for other kinds.
    const Pair* begin() const;
    const Pair* end() const;

  private:
    friend class Builder;
    struct Data;
    explicit Node(std::shared_ptr<const Data> d) : data(std::move(d)) {}
    std::shared_ptr<const Data> data;
};

// A text that is not YAML, with the parser's problem and the 1-based line it was found on.
class Error : public std::runtime_error {
  public:
    Error(int line, const std::string& problem) : std::runtime_error(problem), line(line) {}
    int line;
};

// The first document of the text (a null node when there is none). Throws Error.
Node load(const std::string& text);

}  // namespace ylmsim::yaml
