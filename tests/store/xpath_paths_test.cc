// What expressions look at: one row each for every axis, function, form of predicate and operator.
#include "store/validation/xpath_paths.h"

#include <gtest/gtest.h>

#include <string>

#include "store/xpath_models.h"

namespace nexa::store {
namespace {

struct Row {
  const char* context;
  const char* expression;
  const char* visited;
  const char* reach;   // "anywhere": any change may matter
  const char* reason;  // empty: proven
  const char* hazard;  // empty: libyang judges it safely
};

const Row kRows[] = {
    // Self, parent, child.
    {"/m:c", "s", "c/s", "c", "", ""},
    {"/m:c", "./s", "c/s", "c", "", ""},
    {"/m:c", "self::node()/s", "c/s", "c", "", ""},
    {"/m:c", "child::s", "c/s", "c", "", ""},
    {"/m:c", "self::c/s", "c/s", "c", "", ""},
    {"/m:c", "self::l/s", "", "c", "", ""},
    {"/m:c/s", "../n", "c/n", "c", "", ""},
    {"/m:c/s", "parent::node()/n", "c/n", "c", "", ""},
    {"/m:c/s", "parent::c/n", "c/n", "c", "", ""},
    {"/m:c/s", "parent::l/n", "", "c", "", ""},
    {"/m:c/s", ".", "", "c/s", "", ""},
    {"/m:c/s", "..", "", "c", "", ""},
    {"/m:c/s", ". = 'a'", "", "c/s", "", ""},
    {"/m:c/l/v", "../../s", "c/s", "c", "", ""},
    {"/m:c/l/v", "../../l/v", "c/l c/l/v", "c", "", ""},
    {"/m:c/l/b/x", "../../../l/b/../v", "c/l c/l/b c/l/v", "c", "", ""},
    {"/m:c/l/v", "../b/in/y", "c/l/b c/l/b/in c/l/b/in/y", "c/l", "", ""},
    {"/m:c/s", "../none/such", "", "c", "", ""},
    {"/m:top", "../c/s", "c c/s", "/", "", ""},
    {"/", "c/s", "c c/s", "/", "", ""},
    // Absolute.
    {"/m:c/s", "/c/s", "c c/s", "/", "", ""},
    {"/m:c/s", "/m:c/m:l/m:v", "c c/l c/l/v", "/", "", ""},
    {"/m:c/s", "/", "", "/", "", ""},
    {"/m:c/s", "/a:ac/a:al", "a:ac a:ac/a:al", "/", "", ""},
    // White space, literals, operators.
    {"/m:c", "  s  /  v | n", "c/n c/s", "c", "union of paths", ""},
    {"/m:c", "l / b / x", "c/l c/l/b c/l/b/x", "c", "", ""},
    {"/m:c", R"x(s='it"s' and n != "1")x", "c/n c/s", "c", "", ""},
    {"/m:c", "s = 'or ../top' or not(n)", "c/n c/s", "c", "", ""},
    {"/m:c", "n+1 > d-2", "c/n", "c", "", ""},
    {"/m:c", "n -1", "c/n", "c", "", ""},
    {"/m:c", "n * 2 < 3 div 4", "c/n", "c", "", ""},
    {"/m:c", "- n", "c/n", "c", "", ""},
    {"/m:c", "n mod 2 = 0", "c/n", "c", "", ""},
    {"/m:c", "n mod s = 0", "c/n c/s", "c", "mod by what may be 0", "mod by what may be 0"},
    {"/m:c", "div div mod", "", "c", "", ""},
    {"/m:c", "(s)", "c/s", "c", "", ""},
    {"/m:c", "'text'", "", "c", "", ""},
    {"/m:c", "42", "", "c", "", ""},
    {"/m:c", ".5 < 1.", "", "c", "", ""},
    // Prefixes and modules.
    {"/m:c", "m:l/a:v", "c/l c/l/a:v", "c", "", ""},
    {"/m:c", "l/v", "c/l c/l/v", "c", "", ""},
    {"/m:c", "l/a:more/a:deep", "c/l c/l/a:more c/l/a:more/a:deep", "c", "", ""},
    {"/m:c", "l/a:more/deep", "c/l c/l/a:more", "c", "", ""},
    {"/m:c", "x:s", "c/s", "anywhere", "unknown prefix x", ""},
    // Choices and cases.
    {"/m:c", "c1", "c/c1", "c", "", ""},
    {"/m:c", "c3", "c/c3", "c", "", ""},
    {"/m:c/c2/z", "../../c4", "c/c4", "c", "", ""},
    {"/m:c/c2/z", "../../ch/one/c1", "", "c", "", ""},
    // State data.
    {"/m:c", "state/st", "c/state c/state/st", "c", "", ""},
    {"/m:c/state/log/t", "../../../s", "c/s", "c", "", ""},
    // Predicates.
    {"/m:c", "l[k='a']/v", "c/l c/l/k c/l/v", "c", "", ""},
    {"/m:c", "l[k=current()/s]/v", "c/l c/l/k c/l/v c/s", "c", "", ""},
    {"/m:c", "string(l[k='a']/v) = ''", "c/l c/l/k c/l/v", "c", "", ""},
    {"/m:c", "string(l[m:k = current()/../m:c/s]/v) = ''", "c c/l c/l/k c/l/v c/s", "/", "", ""},
    {"/m:c", "string(l['a'=k]/v) = ''", "c/l c/l/k c/l/v", "c", "", ""},
    {"/m:c", "string(l[v='a']/k) = ''", "c/l c/l/k c/l/v", "c", "order of entries of list l", ""},
    {"/m:c", "string(l/v) = ''", "c/l c/l/v", "c", "order of entries of list l", ""},
    {"/m:c", "string(l[k=v]/v) = ''", "c/l c/l/k c/l/v", "c", "order of entries of list l", ""},
    {"/m:c", "string(l[k=../l/k]/v) = ''", "c c/l c/l/k c/l/v", "c", "order of entries of list l",
     ""},
    {"/m:c", "string(l[k=../s]/v) = ''", "c c/l c/l/k c/l/v c/s", "c", "", ""},
    {"/m:c", "string(l[k=1]/v) = ''", "c/l c/l/k c/l/v", "c", "order of entries of list l", ""},
    {"/m:c", "string(l[k='a']/b/in[k1='a'][k2=1]/y) = ''",
     "c/l c/l/b c/l/b/in c/l/b/in/k1 c/l/b/in/k2 c/l/b/in/y c/l/k", "c", "", ""},
    {"/m:c", "string(l[k='a']/b/in[k1='a' and k2='1']/y) = ''",
     "c/l c/l/b c/l/b/in c/l/b/in/k1 c/l/b/in/k2 c/l/b/in/y c/l/k", "c", "", ""},
    {"/m:c", "string(l[k='a']/b/in[k1='a']/y) = ''",
     "c/l c/l/b c/l/b/in c/l/b/in/k1 c/l/b/in/y c/l/k", "c", "order of entries of list in", ""},
    {"/m:c", "string(ll[.='a']) = 'a'", "c/ll", "c", "", ""},
    {"/m:c", "string(ll) = 'a'", "c/ll", "c", "order of entries of leaf-list ll", ""},
    {"/m:c", "ll = 'a'", "c/ll", "c", "", ""},
    {"/m:c", "ul = '01'", "c/ul", "c", "order of entries of leaf-list ul", ""},
    {"/m:c", "ul = 1", "c/ul", "c", "", ""},
    {"/m:c", "ul = 'a' or ul", "c/ul", "c", "order of entries of leaf-list ul", ""},
    {"/m:c", "l[1]", "c/l", "c", "position in a predicate", ""},
    {"/m:c", "l[position()=2]", "c/l", "c", "position()", ""},
    {"/m:c", "l[last()]", "c/l", "c", "last()", ""},
    {"/m:c", "l[count(b/in)]", "c/l c/l/b c/l/b/in", "c", "position in a predicate", ""},
    {"/m:c", "l[b/in[y]]/v", "c/l c/l/b c/l/b/in c/l/b/in/y c/l/v", "c", "", ""},
    {"/m:c/l/b/x", "../in[k1 = ../../v]/y", "c/l c/l/b c/l/b/in c/l/b/in/k1 c/l/b/in/y c/l/v",
     "c/l", "", ""},
    {"/m:c/l/b/x", "../../../l/b/in[k1 = ../../v]/y",
     "c/l c/l/b c/l/b/in c/l/b/in/k1 c/l/b/in/y c/l/v", "c",
     "a predicate that climbs out of several entries", ""},
    {"/m:c/l/b/x", "../in[k1 = current()/../../../s]/y", "c/l/b/in c/l/b/in/k1 c/l/b/in/y c/s", "c",
     "", ""},
    {"/m:c", "current()[s]/n", "c/n c/s", "c", "", ""},
    {"/m:c", "(l)[k='a']/v", "c/l c/l/k c/l/v", "c", "", ""},
    {"/m:c/l/v", "current()/../k", "c/l/k", "c/l", "", ""},
    // Functions.
    {"/m:c", "not(s)", "c/s", "c", "", ""},
    {"/m:c", "boolean(s) or true() or false()", "c/s", "c", "", ""},
    {"/m:c", "count(l) > 2", "c/l", "c", "", ""},
    {"/m:c", "count(l/b/in[y='1']) < 3", "c/l c/l/b c/l/b/in c/l/b/in/y", "c", "", ""},
    {"/m:c", "sum(l/b/in/k2) > 3", "c/l c/l/b c/l/b/in c/l/b/in/k2", "c", "", ""},
    {"/m:c", "sum(ll) > 3", "c/ll", "c", "", ""},
    {"/m:c", "number(n) > 3", "c/n", "c", "", ""},
    {"/m:c", "number(l/v) > 3", "c/l c/l/v", "c", "order of entries of list l", ""},
    {"/m:c", "string(s) = ''", "c/s", "c", "", ""},
    {"/m:c/s", "string() = ''", "", "c/s", "", ""},
    {"/m:c/s", "string-length() > 3", "", "c/s", "", ""},
    {"/m:c", "string-length(s) > 3", "c/s", "c", "", ""},
    {"/m:c/pc", "string() = ''", "c/pc/q", "c/pc", "text of container pc", ""},
    {"/m:c", "concat(s, n, 'x') = ''", "c/n c/s", "c", "", ""},
    {"/m:c", "concat(s, l/v) = ''", "c/l c/l/v c/s", "c", "order of entries of list l", ""},
    {"/m:c", "contains(s, 'x') and starts-with(s, d)", "c/d c/s", "c", "", ""},
    {"/m:c", "substring(s, 1, n) = 'x'", "c/n c/s", "c", "", ""},
    {"/m:c", "substring-before(s, 'x') = substring-after(d, 'y')", "c/d c/s", "c", "", ""},
    {"/m:c", "normalize-space(s) = translate(d, 'a', 'b')", "c/d c/s", "c", "", ""},
    {"/m:c/s", "normalize-space() = 'a'", "", "c/s", "", ""},
    {"/m:c", "floor(n) + ceiling(n) = round(n)", "c/n", "c", "", ""},
    {"/m:c", "re-match(s, 'a+')", "c/s", "c", "", ""},
    {"/m:c", "derived-from(id, 'm:base') or derived-from-or-self(id, 'm:base')", "c/id", "c", "",
     ""},
    {"/m:c", "enum-value(e) > 0", "c/e", "c", "", ""},
    {"/m:c", "bit-is-set(bits, 'one')", "c/bits", "c", "", ""},
    {"/m:c", "enum-value(..) > 0", "", "anywhere", "text of the whole tree", "value of the root"},
    {"/m:c", "bit-is-set(l/v, 'one')", "c/l c/l/v", "c", "order of entries of list l", ""},
    {"/m:c", "name(s) = 's'", "c/s", "c", "name()", ""},
    {"/m:c", "local-name(s) = 's'", "c/s", "c", "local-name()", ""},
    {"/m:c", "namespace-uri() = 's'", "", "c", "namespace-uri()", ""},
    {"/m:c", "id('a')", "", "anywhere", "id()", ""},
    {"/m:c", "lang('en')", "", "anywhere", "lang()", ""},
    {"/m:c", "nobody-knows(s)", "c/s", "anywhere", "nobody-knows()", ""},
    {"/m:c", "deref(r)/../v", "c/l c/l/k c/l/v c/r", "c", "deref()", ""},
    {"/m:c", "deref(ri)/../v", "c/ri", "anywhere", "deref()", ""},
    {"/m:c", "deref(s)/../v", "c/s", "anywhere", "deref()", "deref() of leaf s"},
    {"/m:c", "$x = 1", "", "anywhere", "variable $x", ""},
    // Texts of inner nodes.
    {"/m:c", "pc = ''", "c/pc c/pc/q", "c", "text of container pc", ""},
    {"/m:c", "l = ''",
     "c/l c/l/a:more c/l/a:more/a:deep c/l/a:v c/l/b c/l/b/in c/l/b/in/k1 c/l/b/in/k2 c/l/b/in/y "
     "c/l/b/x c/l/k c/l/v",
     "c", "text of list l", ""},
    {"/m:c", "pc = true()", "c/pc", "c", "", ""},
    {"/m:c", "pc", "c/pc", "c", "", ""},
    {"/m:c", "any = ''", "c/any", "c", "text of anydata any", "text of anydata any"},
    {"/m:c", "string(c2) = ''", "c/c2 c/c2/z", "c", "text of container c2", ""},
    {"/m:c", "/ = ''", "", "anywhere", "text of the whole tree", "text of the whole tree"},
    // The rest of the axes.
    {"/m:c", "descendant::z", "c/c2/z", "c", "axis descendant", "axis descendant"},
    {"/m:c", "descendant-or-self::pc/q", "c/pc c/pc/q", "c", "axis descendant-or-self",
     "axis descendant-or-self"},
    {"/m:c/l/v", "ancestor::c/s", "c c/s", "/", "axis ancestor", "axis ancestor"},
    {"/m:c/l/v", "ancestor-or-self::l", "c/l", "/", "axis ancestor-or-self",
     "axis ancestor-or-self"},
    {"/m:c/l/v", "following-sibling::k", "c/l/a:more c/l/a:v c/l/b c/l/k c/l/v", "c/l",
     "axis following-sibling", "axis following-sibling"},
    {"/m:c/l/v", "preceding-sibling::k", "c/l/a:more c/l/a:v c/l/b c/l/k c/l/v", "c/l",
     "axis preceding-sibling", "axis preceding-sibling"},
    {"/m:c/s", "following::n", "", "anywhere", "axis following", "axis following"},
    {"/m:c/s", "preceding::n", "", "anywhere", "axis preceding", "axis preceding"},
    {"/m:c/s", "@m:note", "", "anywhere", "axis attribute", "axis attribute"},
    {"/m:c/s", "attribute::note", "", "anywhere", "axis attribute", "axis attribute"},
    {"/m:c/s", "namespace::x", "", "anywhere", "axis namespace", "axis namespace"},
    {"/m:c", ".//q", "c/pc/q", "c", "//", ""},
    {"/m:c", "//top", "top", "/", "//", ""},
    {"/m:c", "pc//..", "c c/pc", "c", "//", "// before a step that is no name"},
    {"/m:c", "pc/*", "c/pc c/pc/q", "c", "wildcard *", ""},
    {"/m:c/l/v", "../*/x", "c/l/a:more c/l/a:v c/l/b c/l/b/x c/l/k c/l/v", "c/l", "wildcard *", ""},
    {"/m:c", "l/m:*", "c/l c/l/b c/l/k c/l/v", "c", "wildcard *", ""},
    {"/m:c", "l/a:*", "c/l c/l/a:more c/l/a:v", "c", "wildcard *", ""},
    {"/m:c", "pc/node()", "c/pc c/pc/q", "c", "node()", ""},
    {"/m:c", "s/text()", "c/s", "anywhere", "text()", "text()"},
    {"/m:c", "s | n", "c/n c/s", "c", "union of paths", ""},
    {"/m:c", "(s | l/v)/..", "c c/l c/l/v c/s", "c", "union of paths", ""},
    // Keys that predicates give, or seem to.
    {"/m:c", "string(l[/k='a']/v) = ''", "c/l c/l/v", "/", "order of entries of list l", ""},
    {"/m:c", "string(l[k[.='b']='a']/v) = ''", "c/l c/l/k c/l/v", "c", "order of entries of list l",
     ""},
    {"/m:c", "string(l[a:k='a']/v) = ''", "c/l c/l/v", "c", "order of entries of list l", ""},
    {"/m:c", "string(l[k!='a']/v) = ''", "c/l c/l/k c/l/v", "c", "order of entries of list l", ""},
    {"/m:c", "string(l[../l/k=k]/v) = ''", "c c/l c/l/k c/l/v", "c", "order of entries of list l",
     ""},
    {"/m:c", "string(l[k=/top]/v) = ''", "c/l c/l/k c/l/v top", "/", "", ""},
    {"/m:c", "string(l[k=true()]/v) = ''", "c/l c/l/k c/l/v", "c", "order of entries of list l",
     ""},
    {"/m:c", "string(l[k=string(true())]/v) = ''", "c/l c/l/k c/l/v", "c", "", ""},
    {"/m:c", "string(l[k=string()]/v) = ''",
     "c/l c/l/a:more c/l/a:more/a:deep c/l/a:v c/l/b c/l/b/in c/l/b/in/k1 c/l/b/in/k2 c/l/b/in/y "
     "c/l/b/x c/l/k c/l/v",
     "c", "text of list l", ""},
    {"/m:c", "string(l[k=name()]/v) = ''", "c/l c/l/k c/l/v", "c", "name()", ""},
    {"/m:c", "string(l[k=string(v)]/v) = ''", "c/l c/l/k c/l/v", "c", "order of entries of list l",
     ""},
    {"/m:c", "string(l[k=string(../s)]/v) = ''", "c c/l c/l/k c/l/v c/s", "c", "", ""},
    {"/m:c", "string(l[k=concat('a', 'b')]/v) = ''", "c/l c/l/k c/l/v", "c", "", ""},
    {"/m:c/s", "string(../l[k=current()]/v) = ''", "c/l c/l/k c/l/v", "c", "", ""},
    {"/m:c", "string(ll[s='a']) = ''", "c/ll", "c", "order of entries of leaf-list ll", ""},
    {"/m:c", "string(ll[self::ll='a']) = ''", "c/ll", "c", "order of entries of leaf-list ll", ""},
    {"/m:c", "string(state/log/t) = ''", "c/state c/state/log c/state/log/t", "c",
     "order of entries of list log", ""},
    // Predicates of several entries.
    {"/m:c/l/b/x", "../../../l/b/in[k1 = /m:top]/y",
     "c/l c/l/b c/l/b/in c/l/b/in/k1 c/l/b/in/y top", "/", "", ""},
    {"/m:c/l/b/x", "../../../l/b/in[/..]/y", "c/l c/l/b c/l/b/in c/l/b/in/y", "/", "", ""},
    {"/m:c/l/b/x", "../../../l/b/in[k1 = current()/../../../s]/y",
     "c/l c/l/b c/l/b/in c/l/b/in/k1 c/l/b/in/y c/s", "c", "", ""},
    {"/m:c/l/b/x", "../../../l/b/in[(..)/x]/y", "c/l c/l/b c/l/b/in c/l/b/in/y c/l/b/x", "c",
     "a predicate that climbs out of several entries", ""},
    {"/m:c/l/b/x", "../../../l/b/in[not(../x)]/y", "c/l c/l/b c/l/b/in c/l/b/in/y c/l/b/x", "c",
     "a predicate that climbs out of several entries", ""},
    // Calls that no function answers, and what is no set of nodes.
    {"/m:c", "current(s)", "c/s", "anywhere", "current()", ""},
    {"/m:c", "deref()", "", "anywhere", "deref()", ""},
    {"/m:c", "deref(r, s)", "c/r c/s", "anywhere", "deref()", ""},
    {"/m:c", "deref(pc)", "c/pc c/pc/q", "c", "text of container pc", ""},
    {"/m:c", "deref(/)", "", "anywhere", "text of the whole tree", "text of the whole tree"},
    {"/m:c", "'a'/s", "", "anywhere", "path or predicate behind a value", ""},
    {"/m:c", "concat(s, 'x')[n]", "c/s", "anywhere", "path or predicate behind a value", ""},
    {"/m:c", "self::comment()", "", "anywhere", "text()", "text()"},
    {"/m:c", "pc/comment()", "c/pc c/pc/q", "c", "node()", ""},
    // Not expressions.
    {"/m:c", "s =", "", "anywhere", "an expression that is not understood", ""},
    {"/m:c", "l[k", "", "anywhere", "an expression that is not understood", ""},
    {"/m:c", "'open", "", "anywhere", "an expression that is not understood", ""},
    {"/m:c", "sideways::s", "", "anywhere", "an expression that is not understood", ""},
    {"/m:c", "s s", "", "anywhere", "an expression that is not understood", ""},
};

class XpathPaths : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_EQ(load_xpath_models(), ""); }
};

TEST_F(XpathPaths, AreWhatTheExpressionLooksAt) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(std::string(row.context) + ": " + row.expression);
    const ExpressionPaths paths = paths_of(row.expression, site_at(row.context));
    EXPECT_EQ(words(paths.visited), row.visited);
    EXPECT_EQ(paths.anywhere ? "anywhere" : words(paths.reach), row.reach);
    EXPECT_EQ(paths.reason, row.reason);
    EXPECT_EQ(paths.hazard, row.hazard);
  }
}

// What a path ends in, of all that it passes through.
TEST_F(XpathPaths, TellWhatIsAskedFor) {
  const ExpressionPaths paths = paths_of("l[b/x = 'a']/v", site_at("/m:c"));
  EXPECT_EQ(words(paths.asked), "c/l/b/x c/l/v");
  EXPECT_EQ(words(paths.targets), "c/l/v");
}

TEST_F(XpathPaths, TellWhetherTheContextNodeMatters) {
  for (const char* const absolute :
       {"/m:c/s = 'a'", "not(//s) or count(/m:c/l[k = 'a'][./v]) > 1", "1 + 2", "true()",
        "(/m:c/l)[1]/v", "/m:c/s | /m:c/d", "re-match(/m:c/s, 'a')", "deref(/m:c/r)/../s"}) {
    EXPECT_TRUE(paths_of(absolute, site_at("/m:c")).is_absolute) << absolute;
  }
  for (const char* const relative :
       {"s", "../s = 'a'", "/m:c/s = s", "/m:c/l[k = current()/s]", "current()", "string()",
        "position() = 1", "(.)[1]", "/m:c/s | s", "lang('en')", "not(.)", "s s"}) {
    EXPECT_FALSE(paths_of(relative, site_at("/m:c")).is_absolute) << relative;
  }
}

TEST_F(XpathPaths, OneTooDeepIsNotUnderstood) {
  const std::string deep = std::string(200, '(') + "s" + std::string(200, ')');
  EXPECT_TRUE(paths_of(deep, site_at("/m:c")).anywhere);
  const std::string shallow = std::string(50, '(') + "s" + std::string(50, ')');
  EXPECT_TRUE(paths_of(shallow, site_at("/m:c")).is_proven());
}

// libyang puts a node without a schema in the place of the one that may be missed.
TEST_F(XpathPaths, TheTextOfAMissedNodeIsAHazard) {
  const Row rows[] = {
      {"/m:c/s", ". = 'a'", "", "", "", "text of the node that is missed"},
      {"/m:c/s", "string(..) = ''", "", "", "", "text around the node that is missed"},
      {"/m:c/pc/q", "../. = ''", "", "", "", "text around the node that is missed"},
      {"/m:c/s", "name(.) = 's'", "", "", "", "name of the node that is missed"},
      {"/m:c/r", "deref(.)", "", "", "", "text of the node that is missed"},
      {"/m:c/s", "../d = 'a'", "", "", "", ""},
      {"/m:c/s", ".", "", "", "", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.context) + ": " + row.expression);
    ExpressionSite site = site_at(row.context);
    site.absent = site.node;
    EXPECT_EQ(paths_of(row.expression, site).hazard, row.hazard);
  }
}

}  // namespace
}  // namespace nexa::store
