// The quarn lexer and parser: the shapes they build, and that malformed,
// truncated and random input only ever gives a SyntaxError.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>

#include "shell/parser.h"
#include "shell/session.h"

namespace quarn::shell {
namespace {

// A fully parenthesised rendering of an expression, to check binding.
std::string Show(const Expr& e) {
  auto bin = [&](const char* op) { return "(" + Show(*e.a) + " " + op + " " + Show(*e.b) + ")"; };
  auto items = [&](const char* open, const char* close) {
    std::string s = open;
    for (size_t i = 0; i < e.items.size(); ++i) s += (i ? ", " : "") + Show(*e.items[i]);
    return s + close;
  };
  // The binary kinds, Add to Range in the order of their declaration.
  static const char* const binary[] = {"+", "-", "*", "/", "^", ".", "and", "or", "=", "<>", "<", "<=", ">", ">=", ".."};
  if (e.kind >= ExprKind::Add && e.kind <= ExprKind::Range) return bin(binary[int(e.kind) - int(ExprKind::Add)]);
  switch (e.kind) {
    case ExprKind::Integer: case ExprKind::Float: case ExprKind::Name: return e.text;
    case ExprKind::String: return "\"" + e.text + "\"";
    case ExprKind::Null: return "NULL";
    case ExprKind::True: return "true";
    case ExprKind::False: return "false";
    case ExprKind::Last: return "%";
    case ExprKind::Quote: return "'" + Show(*e.a) + "'";
    case ExprKind::Neg: return "(-" + Show(*e.a) + ")";
    case ExprKind::Not: return "(not " + Show(*e.a) + ")";
    case ExprKind::Seq: return items("seq(", ")");
    case ExprKind::List: return items("[", "]");
    case ExprKind::Call: return Show(*e.a) + items("(", ")");
    case ExprKind::Index: return Show(*e.a) + items("[", "]");
    case ExprKind::Proc: {
      std::string s = "proc(";
      for (size_t i = 0; i < e.proc->params.size(); ++i) s += (i ? ", " : "") + e.proc->params[i];
      return s + ")";
    }
    default: return "?";
  }
}

std::string ParseOne(const std::string& src) {
  Parser p(src, true);
  StmtPtr s = p.Next();
  EXPECT_TRUE(p.AtEnd()) << src;
  if (s->kind == StmtKind::Assign) {
    std::string t;
    for (const auto& x : s->targets) t += Show(*x) + " ";
    return t + ":= " + Show(*s->value);
  }
  return s->value ? Show(*s->value) : "";
}

// Statements and the fully parenthesised shape they parse to.
TEST(Parser, OperatorsBindAsDocumented) {
  const std::pair<const char*, const char*> shapes[] = {
      {"1 + 2 * 3;", "(1 + (2 * 3))"},     {"1 - 2 - 3;", "((1 - 2) - 3)"},  {"8 / 4 / 2;", "((8 / 4) / 2)"},
      {"-2^2;", "(-(2 ^ 2))"},             {"2^3^2;", "(2 ^ (3 ^ 2))"},      {"2^-1;", "(2 ^ (-1))"},
      {"a * -b;", "(a * (-b))"},           {"1..n+1;", "(1 .. (n + 1))"},    {"a, b = c, d;", "seq(a, (b = c), d)"},
      {"a < b + 1 and not c = d or e;", "(((a < (b + 1)) and (not (c = d))) or e)"},
      {"x := f(1, [2, 3])[1];", "x := f(1, [2, 3])[1]"},                    {"a, t[k] := 1, 2;", "a t[k] := seq(1, 2)"},
      {"'rss';", "'rss'"},                 {"''x'';", "''x''"},              {"();", "seq()"},
      {"(1);", "1"},                       {"%;", "%"},                      {"1..5;", "(1 .. 5)"},
      {"1.5..2.;", "(1.5 .. 2.)"},         {".5e-3 + 1E10 + 2.;", "((.5e-3 + 1E10) + 2.)"},
      {"x -> x^2;", "proc(x)"},            {"(x, t) -> x + t;", "proc(x, t)"}, {"() -> 1;", "proc()"},
      {"a + b . c * d;", "(a + ((b . c) * d))"}, {"A.B.x;", "((A . B) . x)"}, {"1.5.v;", "(1.5 . v)"},
  };
  for (const auto& [source, shape] : shapes) EXPECT_EQ(ParseOne(source), shape) << source;
}

TEST(Parser, Tokens) {
  std::vector<Token> t = Tokenize("1.5e+3 7 \"a\\\"b\\n\" `odd name`");
  ASSERT_EQ(t.size(), 5u);
  EXPECT_EQ(t[0].kind, Tok::Float);
  EXPECT_EQ(t[1].kind, Tok::Integer);
  EXPECT_EQ(t[2].kind, Tok::String);
  EXPECT_EQ(t[2].text, "a\"b\n");
  EXPECT_EQ(t[3].kind, Tok::Name);
  EXPECT_EQ(t[3].text, "odd name");
  EXPECT_EQ(t[4].kind, Tok::End);
}

TEST(Parser, ProcedureDefinitions) {
  Parser p(
      "f := proc(n) local s, i; global g; s := 0; for i from 1 by 2 to n while s < 100 do "
      "if i = 3 then next elif i > 7 then break else s := s + i end if end do; return s end proc:",
      false);
  StmtPtr s = p.Next();
  ASSERT_EQ(s->kind, StmtKind::Assign);
  EXPECT_FALSE(s->show);
  const ProcDef& def = *s->value->proc;
  EXPECT_EQ(def.params, std::vector<std::string>{"n"});
  EXPECT_EQ(def.locals, (std::vector<std::string>{"s", "i"}));
  EXPECT_EQ(def.globals, std::vector<std::string>{"g"});
  ASSERT_EQ(def.body.size(), 3u);
  const Stmt& loop = *def.body[1];
  EXPECT_EQ(loop.kind, StmtKind::For);
  EXPECT_TRUE(loop.start && loop.step && loop.stop && loop.cond);
  ASSERT_EQ(loop.body.size(), 1u);
  EXPECT_EQ(loop.body[0]->conds.size(), 2u);
  EXPECT_EQ(def.body[2]->kind, StmtKind::Return);
  EXPECT_TRUE(p.AtEnd());
  EXPECT_EQ(def.text.substr(0, 12), "proc(n) loca");
  EXPECT_EQ(def.text.substr(def.text.size() - 8), "end proc");
}

TEST(Parser, TerminatorsAndOldStyleClosers) {
  Parser p("a; b: if x then y fi; for i in L do i od; while false do od; do break end do; quit", true);
  std::vector<bool> shown;
  while (!p.AtEnd()) shown.push_back(p.Next()->show);
  EXPECT_EQ(shown, (std::vector<bool>{true, false, true, true, true, true, true}));
  Parser strict("a; b", false);
  strict.Next();
  EXPECT_THROW(strict.Next(), SyntaxError);
}

// Parses every statement of src.
void ParseAll(const std::string& src, bool interactive) {
  Parser p(src, interactive);
  while (!p.AtEnd()) p.Next();
}

struct Rejected {
  const char* source;
  const char* message;  // a part of the message
  bool incomplete;
  int line = 0, column = 0;  // where given (line > 0); else both only at least 1
};

TEST(Parser, MalformedInputGivesClearErrors) {
  const Rejected cases[] = {
      {"1 +;", "unexpected `;`", false},
      {"f(1, 2;", "expected `)`", false},
      {"x := ;", "unexpected `;`", false},
      {"1 = 2 = 3;", "relations do not chain", false},
      {"1 + 2 := 3;", "only names and indexed names", false},
      {"(1, 2) -> 3;", "parameters before `->` must be names", false},
      {"a $ b;", "unexpected `$`", false},
      {"read;", "`read` needs a file name", false},
      {"\"abc", "unterminated string", true},
      {"if x then 1", "unexpected end of input", true},
      {"proc(x) x", "unexpected end of input", true},
      {"12abc;", "malformed number", false},
      {"t[];", "an index needs at least one entry", false},
      {"for 1 to 3 do od;", "expected a name", false},
      {"end;", "unexpected `end`", false},
      {"x := 1;\ny := (2 + ;\n", "unexpected `;`", false, 2, 11},
  };
  for (const Rejected& c : cases) {
    SCOPED_TRACE(c.source);
    try {
      ParseAll(c.source, true);
      ADD_FAILURE() << "accepted";
    } catch (const SyntaxError& e) {
      EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
      EXPECT_EQ(e.incomplete, c.incomplete);
      EXPECT_GE(e.line, 1);
      EXPECT_GE(e.column, 1);
      if (c.line > 0) {
        EXPECT_EQ(e.line, c.line);
        EXPECT_EQ(e.column, c.column);
      }
    }
  }
}

// Every prefix of valid programs either parses or gives a SyntaxError;
// nothing else escapes and nothing crashes.
TEST(Parser, TruncatedInputOnlyGivesSyntaxErrors) {
  const char* programs[] = {
      "f := proc(x, y) local s; s := x + y; if s > 0 then return s elif s = 0 then 0 else -s end if end proc;",
      "for i from 1 by 2 to 10 while i < 7 do t[i] := [i, \"s\", 1.5e-3..2.] od: `q r` := 'rss';",
      "v := Array(1..3, [1, 2, 3], datatype = float[8]); v[2] := (x, t) -> x^-t; g(NULL, %);",
      "while not (a <> b or c <= d) do do break end do end do; quit",
  };
  for (const char* prog : programs) {
    std::string full(prog);
    for (size_t n = 0; n <= full.size(); ++n) {
      try {
        ParseAll(full.substr(0, n), n % 2 == 0);
      } catch (const SyntaxError&) {
      }
    }
    // Cutting inside a construct, between tokens, leaves it open: the REPL
    // would read on.
    EXPECT_FALSE(Session::IsComplete(full.substr(0, full.rfind(' ', full.size() / 2))));
    EXPECT_TRUE(Session::IsComplete(full));
  }
}

// Random token soup and random bytes. QUARN_FUZZ_ITERATIONS scales the
// count; QUARN_FUZZ_SEED replays a run.
TEST(Parser, RandomInputOnlyGivesSyntaxErrors) {
  const char* env_iter = std::getenv("QUARN_FUZZ_ITERATIONS");
  const char* env_seed = std::getenv("QUARN_FUZZ_SEED");
  const long iterations = env_iter ? std::atol(env_iter) : 20000;
  const unsigned seed = env_seed ? static_cast<unsigned>(std::atol(env_seed)) : std::random_device{}();
  SCOPED_TRACE("QUARN_FUZZ_SEED=" + std::to_string(seed));
  std::mt19937 rng(seed);
  const char* pieces[] = {
      "x", "f", "1", "2.5", "\"s\"", "'", "(", ")", "[", "]", ",", ";", ":", ":=", "+", "-", "*", "/", "^",
      "..", "->", "=", "<>", "<", "<=", "and", "or", "not", "if", "then", "elif", "else", "end", "fi",
      "for", "from", "to", "by", "while", "in", "do", "od", "proc", "local", "global", "return", "break",
      "next", "error", "NULL", "true", "%", "#c\n", " ", "\n", "`n`", "quit", "1e5",
  };
  const size_t n_pieces = sizeof pieces / sizeof pieces[0];
  for (long it = 0; it < iterations; ++it) {
    std::string src;
    size_t len = rng() % 40;
    if (it % 4 == 3) {
      for (size_t i = 0; i < len; ++i) src += static_cast<char>(rng() % 256);
    } else {
      for (size_t i = 0; i < len; ++i) src += std::string(pieces[rng() % n_pieces]) + (rng() % 3 ? " " : "");
    }
    try {
      ParseAll(src, it % 2 == 0);
    } catch (const SyntaxError& e) {
      EXPECT_GT(std::string(e.what()).size(), 0u) << src;
    }
  }
}

TEST(Parser, DeepNestingIsRefusedNotFatal) {
  for (const char* open : {"(", "[", "-", "not ", "f(", "'", "x -> "}) {
    std::string src;
    for (int i = 0; i < 100000; ++i) src += open;
    src += "1";
    try {
      Parser p(src, true);
      p.Next();
      ADD_FAILURE() << "accepted nesting of " << open;
    } catch (const SyntaxError& e) {
      EXPECT_NE(std::string(e.what()).find("nested too deeply"), std::string::npos) << open << ": " << e.what();
    }
  }
  std::string blocks;
  for (int i = 0; i < 10000; ++i) blocks += "if x then ";
  EXPECT_THROW(Parser(blocks, true).Next(), SyntaxError);
}

}  // namespace
}  // namespace quarn::shell
