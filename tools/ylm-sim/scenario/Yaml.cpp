#include "scenario/Yaml.h"

#include <yaml.h>

#include <climits>
#include <map>
#include <vector>

namespace ylmsim::yaml {

struct Node::Data {
    Type type = Type::Null;
    int line = 0;
    std::string text;
    std::vector<Node> items;
    std::vector<Pair> pairs;
};

Type Node::type() const {
    return data ? data->type : Type::Null;
}

int Node::line() const {
    return data ? data->line : 0;
}

const std::string& Node::scalar() const {
    static const std::string none;
    return data ? data->text : none;
}

size_t Node::size() const {
    if (!data) {
        return 0;
    }
    return data->type == Type::Map ? data->pairs.size() : data->items.size();
}

const Node& Node::operator[](size_t i) const {
    static const Node none;
    return data && i < data->items.size() ? data->items[i] : none;
}

const Node::Pair* Node::begin() const {
    return data ? data->pairs.data() : nullptr;
}

const Node::Pair* Node::end() const {
    return data ? data->pairs.data() + data->pairs.size() : nullptr;
}

namespace {

// Deeper than any scenario goes by far; it keeps a hostile file from exhausting the stack when
// the tree is torn down.
constexpr size_t kMaxDepth = 100;

int lineOf(const yaml_mark_t& mark) {
    return mark.line < static_cast<size_t>(INT_MAX) ? static_cast<int>(mark.line) + 1 : INT_MAX;
}

std::string textOf(const yaml_char_t* s) {
    return s == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(s));
}

// An untagged plain scalar spelled as YAML 1.1's null.
bool isNull(const yaml_event_t& ev) {
    const auto& s = ev.data.scalar;
    if (s.style != YAML_PLAIN_SCALAR_STYLE || s.tag != nullptr) {
        return false;
    }
    const std::string v(reinterpret_cast<const char*>(s.value), s.length);
    return v.empty() || v == "~" || v == "null" || v == "Null" || v == "NULL";
}

class Parser {
  public:
    explicit Parser(const std::string& text) {
        if (yaml_parser_initialize(&parser) == 0) {
            throw Error(1, "out of memory");
        }
        yaml_parser_set_input_string(&parser, reinterpret_cast<const unsigned char*>(text.data()),
                                     text.size());
    }
    ~Parser() { yaml_parser_delete(&parser); }
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;

    // Fills ev, which the caller deletes; throws on text that is not YAML.
    void next(yaml_event_t& ev) {
        if (yaml_parser_parse(&parser, &ev) == 0) {
            throw Error(lineOf(parser.problem_mark),
                        parser.problem != nullptr ? parser.problem : "out of memory");
        }
    }

  private:
    yaml_parser_t parser{};
};

struct Event {
    Event() = default;
    ~Event() { yaml_event_delete(&ev); }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    yaml_event_t ev{};
};

}  // namespace

// Turns the events of the first document into a tree: collections stay open on a stack until
// their end event, anchored nodes are kept by name for the aliases after them.
class Builder {
  public:
    // Takes one event; false once the first document is complete.
    bool take(const yaml_event_t& ev) {
        switch (ev.type) {
            case YAML_STREAM_END_EVENT:
            case YAML_DOCUMENT_END_EVENT:
                return false;
            case YAML_ALIAS_EVENT:
                add(alias(ev));
                break;
            case YAML_SCALAR_EVENT: {
                auto d = std::make_shared<Node::Data>();
                d->line = lineOf(ev.start_mark);
                if (!isNull(ev)) {
                    d->type = Type::Scalar;
                    d->text.assign(reinterpret_cast<const char*>(ev.data.scalar.value),
                                   ev.data.scalar.length);
                }
                add(anchored(textOf(ev.data.scalar.anchor), Node(d)));
                break;
            }
            case YAML_SEQUENCE_START_EVENT:
                open(Type::Sequence, ev, textOf(ev.data.sequence_start.anchor));
                break;
            case YAML_MAPPING_START_EVENT:
                open(Type::Map, ev, textOf(ev.data.mapping_start.anchor));
                break;
            case YAML_SEQUENCE_END_EVENT:
            case YAML_MAPPING_END_EVENT: {
                Open top = std::move(stack.back());
                stack.pop_back();
                add(anchored(top.anchor, Node(top.data)));
                break;
            }
            default:
                break;
        }
        return true;
    }

    const Node& root() const { return result; }

  private:
    struct Open {
        std::shared_ptr<Node::Data> data;
        std::string anchor;
        Node key;
        bool hasKey = false;
    };

    void open(Type type, const yaml_event_t& ev, const std::string& anchor) {
        if (stack.size() >= kMaxDepth) {
            throw Error(lineOf(ev.start_mark),
                        "nested deeper than " + std::to_string(kMaxDepth) + " levels");
        }
        auto d = std::make_shared<Node::Data>();
        d->type = type;
        d->line = lineOf(ev.start_mark);
        // Until it ends, the node cannot be named by an alias inside it.
        anchors.erase(anchor);
        stack.push_back({d, anchor, Node(), false});
    }

    Node anchored(const std::string& anchor, const Node& node) {
        if (!anchor.empty()) {
            anchors[anchor] = node;
        }
        return node;
    }

    Node alias(const yaml_event_t& ev) const {
        const std::string name = textOf(ev.data.alias.anchor);
        auto it = anchors.find(name);
        if (it == anchors.end()) {
            throw Error(lineOf(ev.start_mark),
                        "alias *" + name + " names no complete node anchored before it");
        }
        return it->second;
    }

    void add(const Node& node) {
        if (stack.empty()) {
            result = node;
            return;
        }
        Open& top = stack.back();
        if (top.data->type == Type::Sequence) {
            top.data->items.push_back(node);
        } else if (!top.hasKey) {
            top.key = node;
            top.hasKey = true;
        } else {
            top.data->pairs.emplace_back(top.key, node);
            top.hasKey = false;
        }
    }

    std::vector<Open> stack;
    std::map<std::string, Node> anchors;
    Node result;
};

Node load(const std::string& text) {
    Parser parser(text);
    Builder builder;
    for (;;) {
        Event e;
        parser.next(e.ev);
        if (!builder.take(e.ev)) {
            return builder.root();
        }
    }
}

}  // namespace ylmsim::yaml
