#ifndef BIZ_TESTS_TRUTH_TABLE_H
#define BIZ_TESTS_TRUTH_TABLE_H

#include <string>

/**
 * Every command and sub-code of every model that has a rule, with the rule in words, as
 * the library holds them now: the content that tests/data/reply_rules_truth.tsv must have.
 */
std::string truthTable();

/** Where the committed table lies. */
std::string truthTableFile();

#endif
