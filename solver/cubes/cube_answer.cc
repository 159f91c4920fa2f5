// SPDX-License-Identifier: MIT
#include "solver/cubes/cube_answer.h"

#include <utility>

#include "solver/cubes/quiet_host.h"
#include "solver/cubes/text_source.h"
#include "solver/smtlib/interpreter.h"

namespace vorn::solver {
namespace {

// Walks over an answer, which may end anywhere.
class AnswerReader {
 public:
  AnswerReader(const std::string& text, const std::string& signature)
      : source_(text), lexer_(source_), signature_(signature) {}

  CubeAnswer read() {
    CubeAnswer answer;
    const auto is = [&](CubeAnswer::Kind kind, const char* problem) {
      answer.kind = kind;
      answer.problem = problem;
      return answer;
    };
    using Kind = CubeAnswer::Kind;
    if (lexer_.next().kind == TokenKind::kEnd) {
      return is(Kind::kCutOff, "it is empty");
    }
    if (lexer_.token().kind == TokenKind::kInvalid) {
      return is(Kind::kCutOff, "it ends early");
    }
    if (lexer_.token().kind != TokenKind::kString) {
      return is(Kind::kCutOff, "it does not say which cube it is about");
    }
    if (lexer_.token().text != signature_) {
      return is(Kind::kForeign, "it is not an answer to this cube");
    }
    const Token& verdict = lexer_.next();
    if (verdict.kind != TokenKind::kSymbol) {
      return is(Kind::kCutOff, verdict.kind == TokenKind::kEnd
                                   ? "it has no verdict"
                                   : "there is an error in it");
    }
    if (verdict.text == "unsat") return is(Kind::kUnsat, "");
    if (verdict.text == "unknown") return is(Kind::kUnknown, "");
    if (verdict.text != "sat") return is(Kind::kCutOff, "it has no verdict");
    if (!read_model(answer.model)) {
      return is(Kind::kCutOff, "it is sat, but its model is not whole");
    }
    return is(Kind::kSat, "");
  }

 private:
  bool at(TokenKind kind) const { return lexer_.token().kind == kind; }

  // (define-fun NAME () SORT VALUE) for each.
  bool read_model(std::string& model) {
    if (lexer_.next().kind != TokenKind::kOpen) return false;
    while (lexer_.next().kind == TokenKind::kOpen) {
      if (lexer_.next().text != "define-fun") return false;
      lexer_.next();
      if (!at(TokenKind::kSymbol) && !at(TokenKind::kQuotedSymbol)) {
        return false;
      }
      const bool is_quoted = at(TokenKind::kQuotedSymbol);
      const std::string name =
          is_quoted ? '|' + lexer_.token().text + '|' : lexer_.token().text;
      if (lexer_.next().kind != TokenKind::kOpen ||
          lexer_.next().kind != TokenKind::kClose ||
          lexer_.next().kind != TokenKind::kSymbol) {
        return false;
      }
      std::string value;
      if (!read_value(value) || lexer_.next().kind != TokenKind::kClose) {
        return false;
      }
      model += "(assert (= " + name + ' ' + value + "))\n";
    }
    return at(TokenKind::kClose);
  }

  // A number or a truth value, and nothing that could say more.
  bool read_value(std::string& value) {
    const std::size_t outside = lexer_.depth();
    do {
      const Token& token = lexer_.next();
      switch (token.kind) {
        case TokenKind::kOpen:
          value += '(';
          break;
        case TokenKind::kClose:
          value += ')';
          break;
        case TokenKind::kNumeral:
        case TokenKind::kDecimal:
          value += ' ' + token.text;
          break;
        case TokenKind::kSymbol:
          if (token.text != "-" && token.text != "/" && token.text != "true" &&
              token.text != "false") {
            return false;
          }
          value += ' ' + token.text;
          break;
        default:
          return false;
      }
    } while (lexer_.depth() > outside);
    return lexer_.depth() == outside;
  }

  TextSource source_;
  Lexer lexer_;
  const std::string& signature_;
};

}  // namespace

CubeAnswer read_answer(const std::string& text, const std::string& signature) {
  return AnswerReader(text, signature).read();
}

CheckedModel check_model(const CubeQuestion& question,
                         const std::string& model) {
  const std::string script = question.bare + '\n' + model +
                             "(set-option :print-models true)\n(check-sat)\n";
  TextSource source(script);
  QuietHost host;
  ScriptOptions options;
  constexpr std::uint64_t kQuick = 1000;
  options.conflict_limit = kQuick;
  Interpreter interpreter(source, host, options);
  while (interpreter.run_command()) {
  }
  const std::string& output = host.output();
  CheckedModel checked;
  checked.holds = !interpreter.had_error() && output.rfind("sat\n", 0) == 0;
  if (checked.holds) checked.text = output;
  return checked;
}

}  // namespace vorn::solver
