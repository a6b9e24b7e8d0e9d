/*
 * The configuration-tree library: trees of named string parameters and named subtrees, the message
 * format of the local bus. The text form is JSON.
 *
 * Ownership: cfg_get_empty and cfg_parse_buffer make a root that the caller releases with
 * cfg_release. A child pointer and every text belong to the tree they came from; a text is valid
 * until the next call on that tree. Results: 0 on success, -1 on failure (out of memory, or not a
 * subtree); a null pointer where there is nothing. A null argument counts as "nothing there". No
 * operation blocks. One thread at a time may use a tree.
 */
#ifndef RFCD_PLATFORM_KVTREE_H
#define RFCD_PLATFORM_KVTREE_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct cfg_tree cfg_tree;

/* What cfg_get_type returns. A newer library may return a higher number. */
enum cfg_type {
    CFG_TYPE_TREE = 0,  /* named members */
    CFG_TYPE_LIST = 1,  /* unnamed members in order */
    CFG_TYPE_VALUE = 2, /* a plain value */
    CFG_TYPE_NONE = 3   /* nothing */
};

cfg_tree* cfg_get_empty(void);
/* Parses the zero-terminated `text`; null when it is not one whole tree or list. */
cfg_tree* cfg_parse_buffer(const char* text);
void cfg_release(cfg_tree* tree);

/* Sets or replaces the string parameter `name`. */
int cfg_set_param(cfg_tree* tree, const char* name, const char* value);
/* The text of the plain value `name`; null when it is missing or a subtree. */
const char* cfg_get_param(cfg_tree* tree, const char* name);
/* 1 when there is a member `name` of any type, else 0. */
int cfg_contain_param(const cfg_tree* tree, const char* name);
/* The member `name`, whatever its type. A member of type CFG_TYPE_NONE is a node too. */
cfg_tree* cfg_get_child(const cfg_tree* tree, const char* name);
int cfg_get_type(const cfg_tree* node);

/* The text of a plain value, without quotes. */
const char* cfg_object_to_string(cfg_tree* node);
/* The node as readable text of several lines. */
const char* cfg_serialize(cfg_tree* node);
/* The node as text of one line. */
const char* cfg_serialize_compact(cfg_tree* node);

/* Inserts a copy of `child` as `name`; replaces an existing member. */
int cfg_insert_child(cfg_tree* tree, const char* name, const cfg_tree* child);
int cfg_insert_child_string(cfg_tree* tree, const char* name, const char* value);
/* Inserts an empty subtree and returns it; it belongs to `tree`. */
cfg_tree* cfg_insert_empty_subtree(cfg_tree* tree, const char* name);

#ifdef __cplusplus
}
#endif

#endif
