// SPDX-License-Identifier: MIT
#include "solver/cubes/joined_proof.h"

#include <algorithm>
#include <cctype>
#include <deque>
#include <iterator>
#include <streambuf>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace vorn::solver {
namespace {

// Cuts a proof into brackets and words. Quotes belong to their words.
class ProofWords {
 public:
  explicit ProofWords(std::istream& in) : in_(in), buffer_(kBlock) {}

  // The next one; empty at the end.
  const std::string& next() {
    word_.clear();
    int c = skip_blanks();
    if (c < 0) return word_;
    word_ += static_cast<char>(c);
    if (c == '(' || c == ')') return word_;
    char quote = c == '|' || c == '"' ? static_cast<char>(c) : '\0';
    for (;;) {
      c = peek();
      const bool is_blank = c < 0 || std::isspace(c) != 0;
      if (c < 0 || (quote == 0 && (is_blank || c == '(' || c == ')'))) break;
      word_ += static_cast<char>(c);
      ++position_;
      if (quote != 0 && c == quote) quote = 0;
    }
    return word_;
  }
  const std::string& word() const { return word_; }

 private:
  static constexpr std::size_t kBlock = std::size_t{1} << 16U;

  int peek() {
    if (position_ == size_) {
      in_.read(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
      size_ = static_cast<std::size_t>(in_.gcount());
      position_ = 0;
      if (size_ == 0) return -1;
    }
    return static_cast<unsigned char>(buffer_[position_]);
  }
  // Returns what comes behind blanks and comments, and passes it.
  int skip_blanks() {
    bool in_comment = false;
    for (;;) {
      const int c = peek();
      if (c < 0) return c;
      ++position_;
      if (in_comment) {
        in_comment = c != '\n';
      } else if (c == ';') {
        in_comment = true;
      } else if (std::isspace(c) == 0) {
        return c;
      }
    }
  }

  std::istream& in_;
  std::vector<char> buffer_;
  std::size_t position_ = 0;
  std::size_t size_ = 0;
  std::string word_;
};

// Puts words down, with blanks where there have to be some.
class Writer {
 public:
  explicit Writer(std::ostream& out) : out_(out) {}
  ~Writer() { flush(); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void put(std::string_view word) {
    if (word != ")" && !at_start_) text_ += ' ';
    text_ += word;
    at_start_ = word == "(";
  }
  // A word in two parts.
  void put(std::string_view first, std::string_view second) {
    put(first);
    text_ += second;
  }
  void end_line() {
    text_ += '\n';
    at_start_ = true;
    constexpr std::size_t kBlock = std::size_t{1} << 16U;
    if (text_.size() >= kBlock) flush();
  }

 private:
  void flush() {
    out_.write(text_.data(), static_cast<std::streamsize>(text_.size()));
    text_.clear();
  }

  std::ostream& out_;
  std::string text_;
  bool at_start_ = true;
};

// What is wrong with a proof.
struct Unusable {
  const char* why;
};

void require(bool holds, const char* otherwise) {
  if (!holds) throw Unusable{otherwise};
}

// Copies the proof of one cube.
class CubeProof {
 public:
  CubeProof(std::istream& in, std::string prefix, Writer& writer)
      : words_(in), prefix_(std::move(prefix)), writer_(writer) {}

  // Returns which of the literals the proof assumes, and so which negations the
  // clause of the last step, which has the prefix for its name, consists of.
  // Without any the last step of the proof is the empty clause itself.
  std::vector<std::size_t> write(const std::vector<std::string>& literals) {
    read_assumptions();
    const std::vector<std::size_t> local = find_local(literals);
    for (const Assumption& assumption : assumptions_) {
      if (!assumption.is_local) put_assumption(assumption);
    }
    if (!local.empty()) {
      for (const char* word : {"(", "anchor", ":step"}) writer_.put(word);
      writer_.put(prefix_);
      writer_.put(")");
      writer_.end_line();
    }
    for (const Assumption& assumption : assumptions_) {
      if (assumption.is_local) put_assumption(assumption);
    }
    bool is_empty = false;
    while (!words_.word().empty()) is_empty = copy_step();
    require(is_empty, "its last step is not the empty clause");
    if (!local.empty()) end_local(literals, local);
    return local;
  }

 private:
  // A word, or a list of terms. Under a name it may stand in several places.
  struct Term {
    std::string word;
    std::vector<const Term*> parts;
    std::string name;
    bool is_list = false;
  };
  struct Assumption {
    std::string step;
    const Term* term;
    bool is_local = false;
  };

  const std::string& next() { return words_.next(); }
  void expect(const char* word, const char* otherwise) {
    require(next() == word, otherwise);
  }

  // Reads `(assume NAME TERM)` as long as there are any; the first word of what
  // comes next is the current one then, and the second is read.
  void read_assumptions() {
    if (next() == "unsat") next();
    while (!words_.word().empty()) {
      require(words_.word() == "(", "it is no proof");
      command_ = next();
      if (command_ != "assume") return;
      Assumption assumption;
      assumption.step = next();
      next();
      assumption.term = read_term();
      expect(")", "it ends early");
      assumptions_.push_back(assumption);
      next();
    }
  }

  // With the first word of a term as the current one; left at its last one.
  const Term* read_term() {
    std::vector<Term*> open;
    for (;;) {
      const std::string& word = words_.word();
      require(!word.empty(), "it ends early");
      const Term* done = nullptr;
      if (word == "(") {
        open.push_back(&terms_.emplace_back());
        open.back()->is_list = true;
      } else if (word == ")") {
        require(!open.empty(), "a bracket is closed that is not open");
        done = named(open.back());
        open.pop_back();
      } else if (const auto known = named_.find(word); known != named_.end()) {
        done = known->second;
      } else {
        Term& leaf = terms_.emplace_back();
        leaf.word = word;
        done = &leaf;
      }
      if (done != nullptr) {
        if (open.empty()) return done;
        open.back()->parts.push_back(done);
      }
      next();
    }
  }

  // What (! T :named N) stands for is T, and N from then on.
  const Term* named(Term* list) {
    if (list->parts.empty() || list->parts[0]->word != "!") return list;
    require(list->parts.size() == 4 && list->parts[2]->word == ":named",
            "it has an attribute that is no name");
    const std::string& name = list->parts[3]->word;
    require(!name.empty() && name[0] == '@', "it has a name without @");
    // Belongs to terms_, and is nobody else's but by this name.
    Term& copy = terms_.emplace_back(*list->parts[1]);
    copy.name = name;
    named_.emplace(name, &copy);
    names_.insert(name);
    return &copy;
  }

  // Whether a term, written out, is a text.
  static bool is_text(const Term* term, const std::vector<std::string>& words) {
    struct Item {
      const Term* term;
      std::size_t next_part;
    };
    std::size_t position = 0;
    const auto takes = [&](std::string_view word) {
      return position < words.size() && words[position++] == word;
    };
    std::vector<Item> open;
    for (const Term* at = term;;) {
      if (at->is_list) {
        if (!takes("(")) return false;
        open.push_back({at, 0});
      } else if (!takes(at->word)) {
        return false;
      }
      while (!open.empty() &&
             open.back().next_part == open.back().term->parts.size()) {
        if (!takes(")")) return false;
        open.pop_back();
      }
      if (open.empty()) return position == words.size();
      at = open.back().term->parts[open.back().next_part++];
    }
  }

  static std::vector<std::string> words_of(const std::string& text);

  std::vector<std::size_t> find_local(
      const std::vector<std::string>& literals) {
    std::vector<std::size_t> local;
    for (std::size_t k = 0; k < literals.size(); ++k) {
      const std::vector<std::string> words = words_of(literals[k]);
      for (Assumption& assumption : assumptions_) {
        if (assumption.is_local || !is_text(assumption.term, words)) continue;
        assumption.is_local = true;
        local.push_back(k);
        discharged_.push_back(assumption.step);
        break;
      }
    }
    return local;
  }

  void put_step_name(const std::string& name) {
    writer_.put(prefix_ + '.', name);
  }
  void put_symbol(const std::string& word) {
    if (word[0] == '@' && names_.count(word) != 0) {
      writer_.put('@' + prefix_ + '.', std::string_view(word).substr(1));
    } else {
      writer_.put(word);
    }
  }

  void put_assumption(const Assumption& assumption) {
    writer_.put("(");
    writer_.put("assume");
    put_step_name(assumption.step);
    put_term(assumption.term);
    writer_.put(")");
    writer_.end_line();
  }

  // A name is given where its term is written first.
  void put_term(const Term* term) {
    struct Item {
      const Term* term;
      std::size_t next_part;
      bool is_named;
    };
    std::vector<Item> open;
    for (const Term* at = term;;) {
      const bool is_written = !at->name.empty() && !written_.insert(at).second;
      const bool is_named = !at->name.empty() && !is_written;
      if (is_written) {
        put_symbol(at->name);
      } else {
        if (is_named) {
          writer_.put("(");
          writer_.put("!");
        }
        if (at->is_list) {
          writer_.put("(");
          open.push_back({at, 0, is_named});
        } else {
          writer_.put(at->word);
          if (is_named) end_named(at);
        }
      }
      while (!open.empty() &&
             open.back().next_part == open.back().term->parts.size()) {
        writer_.put(")");
        if (open.back().is_named) end_named(open.back().term);
        open.pop_back();
      }
      if (open.empty()) return;
      at = open.back().term->parts[open.back().next_part++];
    }
  }
  void end_named(const Term* term) {
    writer_.put(":named");
    put_symbol(term->name);
    writer_.put(")");
  }

  // Copies a command of which `(` is read and the word behind it is command_,
  // and reads the same of the next one. Returns whether it is the empty clause.
  bool copy_step() {
    require(command_ != "assume", "it assumes something behind its first step");
    require(command_ == "step", "it has something else than steps");
    writer_.put("(");
    writer_.put("step");
    put_step_name(next());
    expect("(", "a step has no clause");
    expect("cl", "a step has no clause");
    writer_.put("(");
    writer_.put("cl");
    bool is_first = true;
    bool is_empty = false;
    bool is_name = false;
    bool has_steps = false;
    for (std::size_t depth = 2; depth > 0;) {
      const std::string& word = next();
      require(!word.empty(), "it ends early");
      if (is_first) is_empty = word == ")";
      is_first = false;
      if (word == "(") {
        ++depth;
        writer_.put(word);
      } else if (word == ")") {
        --depth;
        if (depth == 1) has_steps = false;
        writer_.put(word);
      } else if (has_steps && depth == 2) {
        put_step_name(word);
      } else {
        if (is_name) names_.insert(word);
        if (depth == 1) has_steps = word == ":premises";
        put_symbol(word);
      }
      is_name = word == ":named";
    }
    writer_.end_line();
    if (!next().empty()) {
      require(words_.word() == "(", "it is no proof");
      command_ = next();
    }
    return is_empty;
  }

  void end_local(const std::vector<std::string>& literals,
                 const std::vector<std::size_t>& local) {
    for (const char* word : {"(", "step"}) writer_.put(word);
    writer_.put(prefix_);
    for (const char* word : {"(", "cl"}) writer_.put(word);
    for (const std::size_t k : local) writer_.put(negation_of(literals[k]));
    for (const char* word : {")", ":rule", "subproof", ":discharge", "("}) {
      writer_.put(word);
    }
    for (const std::string& step : discharged_) put_step_name(step);
    for (const char* word : {")", ")"}) writer_.put(word);
    writer_.end_line();
  }

  ProofWords words_;
  const std::string prefix_;
  Writer& writer_;
  std::string command_;
  std::deque<Term> terms_;
  std::unordered_map<std::string, const Term*> named_;  // of assumptions
  std::unordered_set<std::string> names_;               // of all
  std::unordered_set<const Term*> written_;
  std::vector<Assumption> assumptions_;
  std::vector<std::string> discharged_;  // in the order of the literals
};

// A text that is in memory.
class TextBuffer : public std::streambuf {
 public:
  explicit TextBuffer(std::string& text) {
    setg(text.data(), text.data(), text.data() + text.size());
  }
};

std::vector<std::string> CubeProof::words_of(const std::string& text) {
  std::string copy = text;
  TextBuffer buffer(copy);
  std::istream in(&buffer);
  ProofWords words(in);
  std::vector<std::string> result;
  while (!words.next().empty()) result.push_back(words.word());
  return result;
}

// cube-007: c7, short since it stands in front of every name.
std::string prefix_of(const std::string& cube) {
  const std::size_t digit = cube.find_first_of("123456789");
  return 'c' + (digit == std::string::npos ? cube : cube.substr(digit));
}

// A step, and its clause: at which nodes it says the opposite of what their
// side takes to hold. Those that a step does not need it leaves out.
struct Shown {
  std::string step;
  // Nodes on the way from the root, ascending by depth, that are assumed.
  std::vector<std::size_t> nodes;
};

}  // namespace

bool join_proofs(const CubeTree& tree, const CubeProofs& proofs,
                 std::ostream& out, std::size_t& leaf, std::string& error) {
  Writer writer(out);
  // The way down to the node at hand: each with its side, and what was shown of
  // the side before.
  struct Open {
    std::size_t node;
    std::size_t side;
    Shown first;
  };
  std::vector<Open> way;
  std::size_t place = 0;
  std::size_t num_steps = 0;
  try {
    for (;;) {
      if (!tree.node(place).formula.empty()) {
        way.push_back({place, 0, {}});
        place = tree.node(place).sides[0];
        continue;
      }
      leaf = place;
      const std::unique_ptr<std::istream> in = proofs(place);
      require(in != nullptr, "cannot be read");
      CubeProof proof(*in, prefix_of(tree.node(place).cube), writer);
      Shown shown{prefix_of(tree.node(place).cube), {}};
      for (const std::size_t k : proof.write(tree.literals(place))) {
        shown.nodes.push_back(way[k].node);
      }
      require(!in->bad(), "cannot be read");
      // Up to the next node whose other side has to be shown.
      for (;;) {
        if (shown.nodes.empty()) return true;
        Open& above = way.back();
        const bool takes_part = shown.nodes.back() == above.node;
        if (takes_part && above.side == 0) {
          above.first = std::move(shown);
          above.side = 1;
          place = tree.node(above.node).sides[1];
          break;
        }
        if (takes_part) {
          // Both sides say the opposite of what they assume of the node.
          Shown both;
          both.step = 'n' + std::to_string(++num_steps);
          shown.nodes.pop_back();
          above.first.nodes.pop_back();
          std::set_union(shown.nodes.begin(), shown.nodes.end(),
                         above.first.nodes.begin(), above.first.nodes.end(),
                         std::back_inserter(both.nodes));
          const std::string pivot = negation_of(tree.node(above.node).formula);
          for (const char* word : {"(", "step"}) writer.put(word);
          writer.put(both.step);
          for (const char* word : {"(", "cl"}) writer.put(word);
          for (const Open& open : way) {
            if (open.node == above.node) break;
            if (std::find(both.nodes.begin(), both.nodes.end(), open.node) ==
                both.nodes.end()) {
              continue;
            }
            const std::string no = negation_of(tree.node(open.node).formula);
            writer.put(open.side == 0 ? no : negation_of(no));
          }
          for (const char* word :
               {")", ":rule", "resolution", ":premises", "("}) {
            writer.put(word);
          }
          writer.put(above.first.step);
          writer.put(shown.step);
          for (const char* word : {")", ":args", "("}) writer.put(word);
          writer.put(pivot);
          for (const char* word : {"true", ")", ")"}) writer.put(word);
          writer.end_line();
          shown = std::move(both);
        }
        // What does not take part of this node holds without it.
        way.pop_back();
      }
    }
  } catch (const Unusable& problem) {
    error = problem.why;
    return false;
  }
}

}  // namespace vorn::solver
