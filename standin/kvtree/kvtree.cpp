// The configuration-tree library, based on json-c: a tree is a JSON object, a list an array, a
// plain value any scalar. JSON null is a node without a type (CFG_TYPE_NONE).
#include "platform/kvtree.h"

#include <json-c/json.h>

#include <cctype>
#include <climits>
#include <cstring>
#include <memory>

namespace {

using owned_json = std::unique_ptr<json_object, decltype(&json_object_put)>;

// Stands for JSON null, which json-c represents as a null pointer like a missing node.
cfg_tree* const null_node = reinterpret_cast<cfg_tree*>(const_cast<char*>("none"));

json_object* json(cfg_tree* tree) { return reinterpret_cast<json_object*>(tree); }
const json_object* json(const cfg_tree* tree) { return reinterpret_cast<const json_object*>(tree); }
cfg_tree* tree(json_object* object) { return reinterpret_cast<cfg_tree*>(object); }

bool is_tree(const cfg_tree* node) {
    return node != nullptr && node != null_node &&
           json_object_is_type(json(node), json_type_object) != 0;
}

int insert(cfg_tree* into, const char* name, json_object* value) {
    if (!is_tree(into) || name == nullptr || json_object_object_add(json(into), name, value) != 0) {
        json_object_put(value);
        return -1;
    }
    return 0;
}

const char* text_of(cfg_tree* node, int flags) {
    if (node == nullptr) return nullptr;
    if (node == null_node) return "null";
    return json_object_to_json_string_ext(json(node), flags | JSON_C_TO_STRING_NOSLASHESCAPE);
}

bool only_blanks(const char* text) {
    while (std::isspace(static_cast<unsigned char>(*text)) != 0) ++text;
    return *text == '\0';
}

}  // namespace

cfg_tree* cfg_get_empty(void) { return tree(json_object_new_object()); }

cfg_tree* cfg_parse_buffer(const char* text) {
    const std::size_t length = text == nullptr ? 0 : std::strlen(text);
    if (length == 0 || length > INT_MAX) return nullptr;
    const std::unique_ptr<json_tokener, decltype(&json_tokener_free)> parser(json_tokener_new(),
                                                                             &json_tokener_free);
    if (!parser) return nullptr;

    owned_json parsed(json_tokener_parse_ex(parser.get(), text, static_cast<int>(length)),
                      &json_object_put);

    const bool whole = json_tokener_get_error(parser.get()) == json_tokener_success &&
                       only_blanks(text + json_tokener_get_parse_end(parser.get()));
    const bool container = json_object_is_type(parsed.get(), json_type_object) != 0 ||
                           json_object_is_type(parsed.get(), json_type_array) != 0;
    return whole && container ? tree(parsed.release()) : nullptr;
}

void cfg_release(cfg_tree* root) {
    if (root != nullptr && root != null_node) json_object_put(json(root));
}

int cfg_set_param(cfg_tree* into, const char* name, const char* value) {
    if (value == nullptr) return -1;
    json_object* text = json_object_new_string(value);
    return text == nullptr ? -1 : insert(into, name, text);
}

const char* cfg_get_param(cfg_tree* from, const char* name) {
    cfg_tree* node = cfg_get_child(from, name);
    return node != nullptr && cfg_get_type(node) == CFG_TYPE_VALUE ? cfg_object_to_string(node)
                                                                   : nullptr;
}

int cfg_contain_param(const cfg_tree* from, const char* name) {
    return cfg_get_child(from, name) != nullptr ? 1 : 0;
}

cfg_tree* cfg_get_child(const cfg_tree* from, const char* name) {
    if (!is_tree(from) || name == nullptr) return nullptr;
    json_object* child = nullptr;
    if (json_object_object_get_ex(json(from), name, &child) == 0) return nullptr;
    return child == nullptr ? null_node : tree(child);
}

int cfg_get_type(const cfg_tree* node) {
    if (node == nullptr || node == null_node) return CFG_TYPE_NONE;
    switch (json_object_get_type(json(node))) {
        case json_type_object: return CFG_TYPE_TREE;
        case json_type_array: return CFG_TYPE_LIST;
        case json_type_null: return CFG_TYPE_NONE;
        default: return CFG_TYPE_VALUE;
    }
}

const char* cfg_object_to_string(cfg_tree* node) {
    if (node == nullptr || node == null_node) return nullptr;
    return json_object_get_string(json(node));
}

const char* cfg_serialize(cfg_tree* node) { return text_of(node, JSON_C_TO_STRING_PRETTY); }

const char* cfg_serialize_compact(cfg_tree* node) { return text_of(node, JSON_C_TO_STRING_PLAIN); }

int cfg_insert_child(cfg_tree* into, const char* name, const cfg_tree* child) {
    if (child == nullptr) return -1;
    json_object* copy = nullptr;
    if (child != null_node &&
        json_object_deep_copy(const_cast<json_object*>(json(child)), &copy, nullptr) != 0) {
        return -1;
    }
    return insert(into, name, copy);
}

int cfg_insert_child_string(cfg_tree* into, const char* name, const char* value) {
    return cfg_set_param(into, name, value);
}

cfg_tree* cfg_insert_empty_subtree(cfg_tree* into, const char* name) {
    json_object* subtree = json_object_new_object();
    return subtree != nullptr && insert(into, name, subtree) == 0 ? tree(subtree) : nullptr;
}
