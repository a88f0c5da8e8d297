#include "platform/demo/demo_sysfs.hpp"

#include <algorithm>
#include <deque>
#include <iterator>

#include "platform/format.hpp"

namespace platform {
namespace {

// The kernel gives up on a path after 40 links; so does the tree, which also ends cycles.
constexpr int maxLinkHops = 40;

std::deque<std::string> componentsOf(std::string_view path) {
    auto parts = split(path, '/');
    return {std::make_move_iterator(parts.begin()), std::make_move_iterator(parts.end())};
}

}  // namespace

DemoSysfs::DemoSysfs() = default;

bool DemoSysfs::addFile(std::string_view path, std::string text) {
    return add(path, Node::Kind::file, std::move(text));
}

bool DemoSysfs::addFolder(std::string_view path) {
    if (!path.starts_with('/')) return false;
    Node* at = &root_;
    for (const auto& name : componentsOf(path)) {
        if (name == "." || name == "..") return false;
        at = &at->children[name];
        if (at->kind != Node::Kind::folder) return false;
    }
    return true;
}

bool DemoSysfs::addLink(std::string_view path, std::string target) {
    return add(path, Node::Kind::link, std::move(target));
}

bool DemoSysfs::add(std::string_view path, Node::Kind kind, std::string text) {
    if (!path.starts_with('/')) return false;
    auto parts = componentsOf(path);
    if (parts.empty()) return false;
    Node* at = &root_;
    for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
        if (parts[i] == "." || parts[i] == "..") return false;
        at = &at->children[parts[i]];
        if (at->kind != Node::Kind::folder) return false;
    }
    const std::string& name = parts.back();
    if (name == "." || name == ".." || at->children.contains(name)) return false;
    Node node;
    node.kind = kind;
    node.text = std::move(text);
    at->children.emplace(name, std::move(node));
    return true;
}

std::optional<DemoSysfs::Found> DemoSysfs::walk(std::string_view path, bool followLast) const {
    if (!path.starts_with('/')) return std::nullopt;
    std::deque<std::string> pending = componentsOf(path);
    std::vector<const Node*> nodes{&root_};
    std::vector<std::string> names;
    int hops = 0;
    while (!pending.empty()) {
        std::string name = std::move(pending.front());
        pending.pop_front();
        if (name == ".") continue;
        if (name == "..") {
            if (!names.empty()) {
                names.pop_back();
                nodes.pop_back();
            }
            continue;
        }
        const Node* folder = nodes.back();
        if (folder->kind != Node::Kind::folder) return std::nullopt;
        const auto it = folder->children.find(name);
        if (it == folder->children.end()) return std::nullopt;
        const Node& node = it->second;
        if (node.kind == Node::Kind::link && (followLast || !pending.empty())) {
            if (++hops > maxLinkHops) return std::nullopt;
            if (node.text.starts_with('/')) {
                names.clear();
                nodes.resize(1);
            }
            auto target = componentsOf(node.text);
            pending.insert(pending.begin(), target.begin(), target.end());
            continue;
        }
        names.push_back(std::move(name));
        nodes.push_back(&node);
    }
    return Found{nodes.back(), std::move(names)};
}

std::optional<std::string> DemoSysfs::read(std::string_view path) const {
    const auto found = walk(path, true);
    if (!found || found->node->kind != Node::Kind::file) return std::nullopt;
    std::string text = found->node->text;
    if (text.ends_with('\n')) text.pop_back();
    return text;
}

std::vector<std::string> DemoSysfs::list(std::string_view path) const {
    const auto found = walk(path, true);
    if (!found || found->node->kind != Node::Kind::folder) return {};
    std::vector<std::string> names;
    names.reserve(found->node->children.size());
    for (const auto& [name, node] : found->node->children) names.push_back(name);
    return names;
}

bool DemoSysfs::exists(std::string_view path) const {
    return walk(path, true).has_value();
}

std::optional<std::string> DemoSysfs::readLink(std::string_view path) const {
    const auto found = walk(path, false);
    if (!found || found->node->kind != Node::Kind::link) return std::nullopt;
    return found->node->text;
}

std::optional<std::string> DemoSysfs::resolve(std::string_view path) const {
    const auto found = walk(path, true);
    if (!found) return std::nullopt;
    std::string canonical;
    for (const auto& name : found->names) canonical += "/" + name;
    return canonical.empty() ? "/" : canonical;
}

}  // namespace platform
