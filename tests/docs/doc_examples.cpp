// doc_examples.cpp - the examples' lines and the interpreter that runs them against the host's
// registration.
#include "doc_examples.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <list>
#include <map>
#include <optional>

#include <memhost.h>

#include "declaration.h"
#include "doc_values.h"
#include "ffi_call.h"
#include "support/plugin_host.h"

namespace zyldocs {

namespace {

using zyltool::ValueType;

constexpr std::string_view kArrow = "\xE2\x86\x92";  // →

// ---------------------------------------------------------------------------------------------
// Lines: code, its comment, continuation, results.

struct Item {
  int line = 0;
  std::string code;
  bool hasResult = false;
  std::string result;  // the text after "→"
  std::vector<std::string> logs;  // the text after "logs"
};

// Splits a line at the first "//" outside a string literal.
void SplitComment(const std::string& line, std::string* code, std::string* comment) {
  bool inString = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"') inString = !inString;
    if (!inString && line.compare(i, 2, "//") == 0) {
      *code = line.substr(0, i);
      *comment = line.substr(i + 2);
      return;
    }
  }
  *code = line;
  comment->clear();
}

// How many "(" of the text are not yet closed, outside string literals.
int OpenParentheses(const std::string& text) {
  int open = 0;
  bool inString = false;
  for (char c : text) {
    if (c == '"') inString = !inString;
    if (!inString && c == '(') ++open;
    if (!inString && c == ')') --open;
  }
  return open;
}

std::vector<Item> ReadItems(const CodeBlock& block, std::vector<std::pair<int, std::string>>* errors) {
  std::vector<Item> items;
  bool continuesResult = false;  // the line before added to the last item's result
  for (std::size_t i = 0; i < block.lines.size(); ++i) {
    const int number = block.firstLine + static_cast<int>(i);
    std::string code, comment;
    SplitComment(block.lines[i], &code, &comment);
    // Xojo's line continuation: " _" at the end of the code.
    while (Trim(code).size() >= 2 && Trim(code).back() == '_' && std::isspace(static_cast<unsigned char>(Trim(code).end()[-2])) &&
           i + 1 < block.lines.size()) {
      std::string t = Trim(code);
      t.pop_back();
      std::string nextCode, nextComment;
      SplitComment(block.lines[++i], &nextCode, &nextComment);
      code = t + " " + Trim(nextCode);
      if (!Trim(nextComment).empty()) comment = nextComment;
    }
    code = Trim(code);
    comment = Trim(comment);
    if (!code.empty()) {
      Item item;
      item.line = number;
      item.code = code;
      continuesResult = false;
      if (StartsWith(comment, kArrow)) {
        item.hasResult = true;
        item.result = Trim(comment.substr(kArrow.size()));
        continuesResult = true;
      } else if (StartsWith(comment, "logs ")) {
        item.logs.push_back(Trim(comment.substr(5)));
      }
      items.push_back(std::move(item));
      continue;
    }
    if (comment.empty()) {
      if (Trim(block.lines[i]).empty()) continuesResult = false;
      continue;
    }
    if (StartsWith(comment, kArrow)) {
      if (items.empty() || items.back().hasResult) {
        errors->emplace_back(number, "a result (→) with no statement before it that lacks one");
      } else {
        items.back().hasResult = true;
        items.back().result = Trim(comment.substr(kArrow.size()));
        continuesResult = true;
      }
    } else if (continuesResult && (StartsWith(comment, "+") || OpenParentheses(items.back().result) > 0)) {
      items.back().result += " " + comment;
    } else if (StartsWith(comment, "logs ")) {
      if (items.empty()) {
        errors->emplace_back(number, "\"logs\" with no statement before it");
      } else {
        items.back().logs.push_back(Trim(comment.substr(5)));
      }
      continuesResult = false;
    } else {
      continuesResult = false;  // an ordinary comment
    }
  }
  return items;
}

// ---------------------------------------------------------------------------------------------
// The registration as callable candidates.

struct Candidate {
  std::string text;
  zyltool::Declaration declaration;
  void* function = nullptr;
};

std::vector<Candidate> ReadCandidates() {
  std::vector<Candidate> out;
  auto add = [&](const std::string& text, void* function) {
    std::string error;
    if (auto declaration = zyltool::ParseDeclaration(text, &error)) out.push_back({text, *declaration, function});
  };
  const memhost::Registration registration = memhost::Registered();
  for (const auto& module : registration.modules) {
    for (const auto& method : module.methods) add(method.declaration, method.function);
  }
  for (const auto& method : registration.methods) add(method.declaration, method.function);
  for (const auto& extension : registration.classExtensions) {
    for (const auto& method : extension.methods) {
      if (method.function) add(zyltool::ExtensionDeclaration(method.declaration, extension.name, false), method.function);
      if (method.setter) add(zyltool::ExtensionDeclaration(method.declaration, extension.name, true), method.setter);
    }
  }
  return out;
}

// ---------------------------------------------------------------------------------------------
// The interpreter.

struct Variable {
  std::string type;  // String, MemoryBlock, StyledText, Integer, Double, Boolean
  memhost::String string;
  memhost::Object object;  // MemoryBlock and StyledText
  Value plain;             // Integer, Double, Boolean
};

class Interpreter {
 public:
  Interpreter(std::string file, ExampleResult& result) : file_(std::move(file)), result_(result), candidates_(ReadCandidates()) {}

  void Run(const std::vector<Item>& items) {
    zyltest::CapturedLog log;
    for (const Item& item : items) {
      ++result_.statements;
      line_ = item.line;
      const std::size_t logBefore = log.Lines().size();
      try {
        Statement(item);
      } catch (const ExampleError& e) {
        Fail(e.what());
      } catch (const std::exception& e) {
        Fail(std::string("the host refused: ") + e.what());
      }
      if (raised_) {  // an exception nothing expected
        Fail("raised " + raised_->className + " \"" + raised_->message + "\", which the example does not state");
        raised_.reset();
      }
      if (!item.logs.empty()) {
        const std::vector<std::string> lines = log.Lines();
        std::vector<std::string> written(lines.begin() + static_cast<std::ptrdiff_t>(std::min(logBefore, lines.size())), lines.end());
        std::vector<std::string> expected;
        for (const std::string& text : item.logs) {
          if (text == "nothing") continue;  // "// logs nothing": the statement writes no line
          try {
            const std::vector<Token> t = Tokenize(text);
            if (t.size() != 2 || t[0].type != Tok::String) throw ExampleError("write a log line as logs \"TEXT\"");
            expected.push_back(t[0].text);
          } catch (const ExampleError& e) {
            Fail(e.what());
          }
        }
        ++result_.checks;
        if (written != expected) {
          std::string got;
          for (const std::string& l : written) got += "\n    logs " + Quote(l);
          Fail("the log lines differ; written:" + (got.empty() ? std::string(" none") : got));
        }
      }
    }
  }

 private:
  void Fail(const std::string& what) { result_.failures.push_back(file_ + ":" + std::to_string(line_) + ": " + what); }

  // -- statements -------------------------------------------------------------------------------

  void Statement(const Item& item) {
    tokens_ = Tokenize(item.code);
    pos_ = 0;
    if (IsIdent(Peek(), "Var") || IsIdent(Peek(), "Dim")) {
      if (item.hasResult) throw ExampleError("a declaration has no result to state");
      Declare();
      return;
    }
    // An assignment has a top-level "=".
    int depth = 0;
    std::size_t equals = 0;
    for (std::size_t i = 0; i < tokens_.size(); ++i) {
      if (tokens_[i].type == Tok::LParen) ++depth;
      if (tokens_[i].type == Tok::RParen) --depth;
      if (tokens_[i].type == Tok::Equals && depth == 0) {
        equals = i;
        break;
      }
    }
    if (equals > 0) {
      if (item.hasResult) throw ExampleError("an assignment has no result to state");
      Assign(equals);
      return;
    }
    if (!item.hasResult) throw ExampleError("state what this gives after \"// →\"");
    const Value actual = Expression();
    Expect(Tok::End, "the end of the statement");
    CheckResult(actual, item.result);
  }

  void Declare() {
    ++pos_;  // Var / Dim
    const std::string name = ExpectIdent("a variable name");
    if (!IsIdent(Next(), "As")) throw ExampleError("write Var NAME As TYPE = VALUE");
    const bool isNew = IsIdent(Peek(), "New");
    if (isNew) ++pos_;
    const std::string type = ExpectIdent("a type");
    if (vars_.count(name)) throw ExampleError("the variable " + name + " is declared twice");
    Variable variable;
    if (isNew) {
      if (SameName(type, "StyledText")) {
        variable.type = "StyledText";
        variable.object = memhost::Object(memhost::NewStyledText({}));
      } else if (SameName(type, "MemoryBlock")) {
        Expect(Tok::LParen, "(");
        const Value size = Expression();
        Expect(Tok::RParen, ")");
        if (size.kind != Kind::Integer || size.integer < 0) throw ExampleError("New MemoryBlock(SIZE) needs a size");
        variable.type = "MemoryBlock";
        variable.object = memhost::Object(memhost::AsObject(memhost::NewMemoryBlock(std::string(static_cast<std::size_t>(size.integer), '\0'))));
      } else {
        throw ExampleError("New " + type + " is not something the examples make");
      }
      Expect(Tok::End, "the end of the declaration");
      vars_.emplace(name, std::move(variable));
      return;
    }
    Expect(Tok::Equals, "= VALUE");
    const Value value = Expression();
    Expect(Tok::End, "the end of the declaration");
    variable.type = type;
    if (SameName(type, "String")) {
      variable.type = "String";
      if (value.kind == Kind::String) {
        variable.string = memhost::String(value.bytes, value.encoding);
      } else if (value.kind != Kind::Nil) {
        throw ExampleError("a String variable takes a string");
      }
    } else if (SameName(type, "MemoryBlock")) {
      variable.type = "MemoryBlock";
      if (value.kind != Kind::String && value.kind != Kind::MemoryBlock) throw ExampleError("a MemoryBlock variable takes a string or MemoryBlock");
      variable.object = memhost::Object(memhost::AsObject(memhost::NewMemoryBlock(value.bytes)));
    } else if (SameName(type, "StyledText")) {
      variable.type = "StyledText";
      if (value.kind != Kind::StyledText) throw ExampleError("a StyledText variable takes StyledText(StyleRun(...), ...)");
      variable.object = memhost::Object(memhost::NewStyledText(value.runs));
    } else if (SameName(type, "Integer") || SameName(type, "Double") ||
               SameName(type, "Boolean")) {
      variable.type = type;
      variable.plain = value;
    } else {
      throw ExampleError("variables are String, MemoryBlock, StyledText, Integer, Double or Boolean");
    }
    vars_.emplace(name, std::move(variable));
  }

  void Assign(std::size_t equals) {
    // The value first, then the target (which may call the library's setter).
    const std::vector<Token> all = tokens_;
    tokens_.assign(all.begin() + static_cast<std::ptrdiff_t>(equals) + 1, all.end());
    pos_ = 0;
    const Value value = Expression();
    Expect(Tok::End, "the end of the statement");
    tokens_.assign(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(equals));
    tokens_.push_back(Token{});
    pos_ = 0;
    const std::string head = ExpectIdent("what to assign to");
    if (Peek().type != Tok::Dot) throw ExampleError("examples assign only to members (st.RTFDataZYL = ..., StringGlobalsZYL.Debugging = ...)");
    ++pos_;
    const std::string member = ExpectIdent("a member name");
    std::vector<Value> arguments;
    if (Peek().type == Tok::LParen) arguments = Arguments();
    Expect(Tok::End, "=");
    if (head == "StringGlobalsZYL" && member == "Debugging") {
      const auto property = memhost::FindModuleProperty("Debugging");
      if (!property || property->setter == nullptr) throw ExampleError("StringGlobalsZYL.Debugging is not registered");
      if (value.kind != Kind::Boolean) throw ExampleError("Debugging takes True or False");
      std::vector<zyltool::CallValue> values(1);
      values[0].type = ValueType::Boolean;
      values[0].boolean = value.boolean ? 1 : 0;
      zyltool::CallWithFfi(property->setter, values, ValueType::Void);
      return;
    }
    auto it = vars_.find(head);
    if (it == vars_.end()) throw ExampleError(head + " is not a variable of this example");
    if (it->second.type != "StyledText") throw ExampleError("only a StyledText's members are assigned");
    if (member == "ParagraphAlignment") {
      if (arguments.size() != 1 || arguments[0].kind != Kind::Integer || value.kind != Kind::Integer) {
        throw ExampleError("write st.ParagraphAlignment(INDEX) = ALIGNMENT");
      }
      memhost::SetParagraphAlignment(it->second.object.get(), arguments[0].integer, value.integer);
      return;
    }
    CallLibrary(member, ReadVariable(head), arguments, value);
  }

  // -- results ----------------------------------------------------------------------------------

  void CheckResult(const Value& actual, const std::string& text) {
    ++result_.checks;
    tokens_ = Tokenize(text);
    pos_ = 0;
    if (IsIdent(Peek(), "raises")) {
      ++pos_;
      const std::string className = ExpectIdent("the exception's class");
      std::optional<std::string> message;
      if (Peek().type == Tok::String) message = Next().text;
      Expect(Tok::End, "the end of the result");
      if (!raised_) {
        Fail("raised nothing but gave " + Render(actual) + "; the page says it raises " + className);
        return;
      }
      if (raised_->className != className || (message && raised_->message != *message)) {
        Fail("raised " + raised_->className + " " + Quote(raised_->message) + "; the page says " + className +
             (message ? " " + Quote(*message) : std::string()));
      }
      raised_.reset();
      return;
    }
    if (raised_) return;  // reported by Run
    // The encoding stands last, in parentheses: "(UTF8)", "(no encoding)".
    std::optional<uint32_t> label;
    const std::size_t n = tokens_.size();  // the last token is End
    if (n >= 4 && tokens_[n - 2].type == Tok::RParen) {
      if (n >= 5 && tokens_[n - 5].type == Tok::LParen && IsIdent(tokens_[n - 4], "no") && IsIdent(tokens_[n - 3], "encoding")) {
        label = memhost::kNoEncoding;
        tokens_.erase(tokens_.end() - 5, tokens_.end() - 1);
      } else if (tokens_[n - 4].type == Tok::LParen && tokens_[n - 3].type == Tok::Ident) {
        label = EncodingByName(tokens_[n - 3].text);
        const bool call = n >= 5 && tokens_[n - 5].type == Tok::Ident;  // Name(X) is a call, not a label
        if (!label && !call) {
          throw ExampleError("unknown encoding (" + tokens_[n - 3].text + "); use the names of Encodings: UTF8, UTF16, ASCII ...");
        }
        if (label) tokens_.erase(tokens_.end() - 4, tokens_.end() - 1);
      }
    }
    allowCalls_ = false;
    Value expected;
    try {
      expected = Expression();
    } catch (...) {
      allowCalls_ = true;
      throw;
    }
    allowCalls_ = true;
    Expect(Tok::End, "the end of the result");
    const auto mismatch = [&](const std::string& why) {
      Fail((why.empty() ? std::string() : why + ": ") + "gives " + Render(actual) + ", the page says " + Trim(text));
    };
    if (label) {
      if (expected.kind == Kind::String) {
        expected = Labelled(expected, *label);
      } else if (expected.kind == Kind::Array) {
        for (Value& item : expected.items) {
          if (item.kind == Kind::String) item = Labelled(item, *label);
        }
      } else {
        throw ExampleError("an encoding goes with a string result");
      }
    } else if (expected.kind == Kind::String || (expected.kind == Kind::Array && !expected.items.empty())) {
      throw ExampleError("state the result's encoding after it, as in \"abc\" (UTF8); here it is " + EncodingLabel(actual.encoding));
    }
    switch (expected.kind) {
      case Kind::Nil:
        if (actual.kind != Kind::Nil) mismatch("");
        return;
      case Kind::String:
        if (actual.kind != Kind::String || actual.bytes != expected.bytes || actual.encoding != expected.encoding) mismatch("");
        return;
      case Kind::Integer:
        if (actual.kind != Kind::Integer || actual.integer != expected.integer) mismatch("");
        return;
      case Kind::Double: {
        if (actual.kind != Kind::Double) {
          mismatch("");
          return;
        }
        const double tolerance = 0.5 * std::pow(10.0, -std::max(expected.decimals, 0)) * (1 + 1e-9);
        if (!(std::fabs(actual.real - expected.real) <= tolerance)) mismatch("not within the digits shown");
        return;
      }
      case Kind::Boolean:
        if (actual.kind != Kind::Boolean || actual.boolean != expected.boolean) mismatch("");
        return;
      case Kind::MemoryBlock:
        if (actual.kind != Kind::MemoryBlock || actual.bytes != expected.bytes) mismatch("");
        return;
      case Kind::Array: {
        bool same = actual.kind == Kind::Array && actual.items.size() == expected.items.size();
        for (std::size_t i = 0; same && i < expected.items.size(); ++i) {
          same = expected.items[i].kind == Kind::String && actual.items[i].kind == Kind::String &&
                 actual.items[i].bytes == expected.items[i].bytes && actual.items[i].encoding == expected.items[i].encoding;
        }
        if (!same) mismatch("");
        return;
      }
      case Kind::StyledText: {
        bool same = actual.kind == Kind::StyledText && actual.runs.size() == expected.runs.size();
        for (std::size_t i = 0; same && i < expected.runs.size(); ++i) {
          const memhost::RunStyle& a = actual.runs[i];
          const memhost::RunStyle& e = expected.runs[i];
          same = AsUTF8(a.text, a.encoding) == AsUTF8(e.text, e.encoding) && AsUTF8(a.font, a.fontEncoding) == AsUTF8(e.font, e.fontEncoding) &&
                 a.size == e.size && a.colour == e.colour && a.bold == e.bold && a.italic == e.italic && a.underline == e.underline;
        }
        if (!same) mismatch("");
        return;
      }
      default: throw ExampleError("a result is Nil, a string, a number, True/False, Array(...), MemoryBlock(...) or StyledText(...)");
    }
  }

  static Value Labelled(Value v, uint32_t label) {
    if (v.encoding != memhost::kNoEncoding && v.encoding != label && label != memhost::kNoEncoding) {
      auto converted = memhost::ConvertBytes(v.bytes, v.encoding, label);
      if (!converted) throw ExampleError("the text of the result cannot be written in " + EncodingLabel(label));
      v.bytes = *converted;
    }
    v.encoding = label;
    return v;
  }

  // -- expressions ------------------------------------------------------------------------------

  const Token& Peek() const { return tokens_[pos_]; }
  const Token& Next() {
    const Token& t = tokens_[pos_];
    if (t.type != Tok::End) ++pos_;
    return t;
  }
  void Expect(Tok type, const char* what) {
    if (Peek().type != type) throw ExampleError(std::string("expected ") + what);
    Next();
  }
  std::string ExpectIdent(const char* what) {
    if (Peek().type != Tok::Ident) throw ExampleError(std::string("expected ") + what);
    return Next().text;
  }

  Value Expression() {
    Value left = Term();
    while (Peek().type == Tok::Plus) {
      Next();
      const Value right = Term();
      left = Add(left, right);
    }
    return left;
  }

  static Value Add(const Value& a, const Value& b) {
    if (a.kind == Kind::Integer && b.kind == Kind::Integer) return MakeInteger(a.integer + b.integer);
    if (a.kind != Kind::String || b.kind != Kind::String) {
      throw ExampleError(std::string("cannot add ") + std::string(KindName(a.kind)) + " and " + std::string(KindName(b.kind)));
    }
    uint32_t encoding = a.encoding;
    if (a.encoding != b.encoding) {
      if (a.encoding == memhost::kNoEncoding) {
        encoding = b.encoding;
      } else if (b.encoding != memhost::kNoEncoding) {
        throw ExampleError("cannot join " + EncodingLabel(a.encoding) + " and " + EncodingLabel(b.encoding) + " text; convert one first");
      }
    }
    return MakeString(a.bytes + b.bytes, encoding);
  }

  // Products and quotients of numbers; "/" divides as Doubles, as Xojo's "/" does.
  Value Term() {
    Value left = Unary();
    while (Peek().type == Tok::Star || Peek().type == Tok::Slash) {
      const bool divide = Next().type == Tok::Slash;
      const Value right = Unary();
      const auto number = [](const Value& v) {
        if (v.kind == Kind::Integer) return static_cast<double>(v.integer);
        if (v.kind == Kind::Double) return v.real;
        throw ExampleError("only numbers multiply and divide");
      };
      if (!divide && left.kind == Kind::Integer && right.kind == Kind::Integer) {
        left = MakeInteger(left.integer * right.integer);
        continue;
      }
      Value v;
      v.kind = Kind::Double;
      v.real = divide ? number(left) / number(right) : number(left) * number(right);
      left = v;
    }
    return left;
  }

  Value Unary() {
    if (Peek().type == Tok::Minus) {
      Next();
      Value v = Postfix();
      if (v.kind == Kind::Integer) {
        v.integer = -v.integer;
      } else if (v.kind == Kind::Double) {
        v.real = -v.real;
      } else {
        throw ExampleError("only numbers take a minus sign");
      }
      return v;
    }
    return Postfix();
  }

  Value Postfix() {
    Value v = Primary();
    while (Peek().type == Tok::Dot) {
      Next();
      const std::string member = ExpectIdent("a member name");
      std::optional<std::vector<Value>> arguments;
      if (Peek().type == Tok::LParen) arguments = Arguments();
      v = Member(v, member, arguments);
    }
    return v;
  }

  std::vector<Value> Arguments() {
    Expect(Tok::LParen, "(");
    std::vector<Value> arguments;
    if (Peek().type != Tok::RParen) {
      for (;;) {
        arguments.push_back(Expression());
        if (Peek().type != Tok::Comma) break;
        Next();
      }
    }
    Expect(Tok::RParen, ")");
    return arguments;
  }

  Value Primary() {
    const Token t = Next();
    switch (t.type) {
      case Tok::String: return MakeString(t.text, memhost::kUTF8);
      case Tok::Integer: return MakeInteger(t.integer);
      case Tok::Double: {
        Value v;
        v.kind = Kind::Double;
        v.real = t.real;
        v.decimals = t.decimals;
        return v;
      }
      case Tok::Colour: {
        Value v;
        v.kind = Kind::Colour;
        v.integer = t.integer;
        return v;
      }
      case Tok::LParen: {
        Value v = Expression();
        Expect(Tok::RParen, ")");
        return v;
      }
      case Tok::Ident: break;
      default: throw ExampleError("expected a value");
    }
    if (IsIdent(t, "Nil")) return NilValue();
    if (IsIdent(t, "True") || IsIdent(t, "False")) return MakeBoolean(IsIdent(t, "True"));
    if (IsIdent(t, "New")) {
      const std::string type = ExpectIdent("a class name");
      if (type != "MemoryBlock") throw ExampleError("New " + type + " is not something the examples make");
      const std::vector<Value> a = Arguments();
      if (a.size() != 1 || a[0].kind != Kind::Integer || a[0].integer < 0) throw ExampleError("New MemoryBlock(SIZE) needs a size");
      Value v;
      v.kind = Kind::MemoryBlock;
      v.bytes.assign(static_cast<std::size_t>(a[0].integer), '\0');
      return v;
    }
    if (t.text == "Bold" || t.text == "Italic" || t.text == "Underline") {
      Value v;
      v.kind = Kind::StyleFlag;
      v.bytes = t.text;
      return v;
    }
    if (vars_.count(t.text)) {
      if (Peek().type == Tok::LParen) throw ExampleError(t.text + " is a variable, not a method");
      return ReadVariable(t.text);
    }
    if (t.text == "Encodings" || t.text == "EndOfLine" || t.text == "StringGlobalsZYL") {
      if (t.text == "EndOfLine" && Peek().type != Tok::Dot) return MakeString("\n", memhost::kUTF8);
      Value v;
      v.kind = Kind::Namespace;
      v.bytes = t.text;
      return v;
    }
    const std::vector<Value> arguments = Peek().type == Tok::LParen ? Arguments() : std::vector<Value>{};
    if (auto builtIn = BuiltIn(t.text, arguments)) return *builtIn;
    return CallLibrary(t.text, std::nullopt, arguments, std::nullopt);
  }

  Value ReadVariable(const std::string& name) {
    const Variable& variable = vars_.at(name);
    Value v;
    if (variable.type == "String") {
      if (variable.string.get() == nullptr) return NilValue();
      v = MakeString(variable.string.bytes(), variable.string.encoding());
    } else if (variable.type == "MemoryBlock") {
      v.kind = Kind::MemoryBlock;
      v.bytes = memhost::MemoryBlockBytes(memhost::AsMemoryBlock(variable.object.get()));
    } else if (variable.type == "StyledText") {
      v.kind = Kind::StyledText;
      v.runs = memhost::StyleRuns(variable.object.get());
    } else {
      v = variable.plain;
    }
    v.variable = name;
    return v;
  }

  // The functions of the platform the examples use to write values.
  std::optional<Value> BuiltIn(const std::string& name, const std::vector<Value>& a) {
    auto need = [&](std::size_t count, const char* usage) {
      if (a.size() != count) throw ExampleError(std::string("write ") + usage);
    };
    if (name == "ChrB") {
      need(1, "ChrB(BYTE)");
      if (a[0].kind != Kind::Integer || a[0].integer < 0 || a[0].integer > 255) throw ExampleError("ChrB takes 0 to 255");
      return MakeString(std::string(1, static_cast<char>(a[0].integer)), memhost::kNoEncoding);
    }
    if (name == "Chr") {
      need(1, "Chr(CODEPOINT)");
      if (a[0].kind != Kind::Integer || a[0].integer < 0 || a[0].integer > 0x10FFFF || (a[0].integer >= 0xD800 && a[0].integer <= 0xDFFF)) {
        throw ExampleError("Chr takes a Unicode scalar value");
      }
      return MakeString(Utf8Of(static_cast<uint32_t>(a[0].integer)), memhost::kUTF8);
    }
    if (name == "DecodeHex") {
      need(1, "DecodeHex(\"HEX\")");
      if (a[0].kind != Kind::String) throw ExampleError("DecodeHex takes a string of hex digits");
      std::string digits;
      for (char c : a[0].bytes) {
        if (c == ' ') continue;
        if (!std::isxdigit(static_cast<unsigned char>(c))) throw ExampleError("DecodeHex: not a hex digit");
        digits.push_back(c);
      }
      if (digits.size() % 2 != 0) throw ExampleError("DecodeHex: an odd number of digits");
      std::string bytes;
      for (std::size_t i = 0; i < digits.size(); i += 2) bytes.push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
      return MakeString(bytes, memhost::kNoEncoding);
    }
    if (name == "ConvertEncoding" || name == "DefineEncoding") {
      need(2, "ConvertEncoding(TEXT, Encodings.NAME)");
      if (a[0].kind != Kind::String) throw ExampleError(name + " takes a string first");
      uint32_t target = memhost::kNoEncoding;
      if (a[1].kind == Kind::Encoding) {
        target = a[1].encoding;
      } else if (!(a[1].kind == Kind::Nil && name == "DefineEncoding")) {
        throw ExampleError(name + " takes an encoding (Encodings.NAME) second");
      }
      if (name == "DefineEncoding") return MakeString(a[0].bytes, target);
      if (a[0].encoding == memhost::kNoEncoding) throw ExampleError("ConvertEncoding needs text that has an encoding");
      auto converted = memhost::ConvertBytes(a[0].bytes, a[0].encoding, target);
      if (!converted) throw ExampleError("the text cannot be converted to " + EncodingLabel(target));
      return MakeString(*converted, target);
    }
    if (name == "LenB") {
      need(1, "LenB(TEXT)");
      if (a[0].kind == Kind::Nil) return MakeInteger(0);
      if (a[0].kind != Kind::String) throw ExampleError("LenB takes a string");
      return MakeInteger(static_cast<int64_t>(a[0].bytes.size()));
    }
    if (name == "MemoryBlock") {
      need(1, "MemoryBlock(BYTES)");
      if (a[0].kind != Kind::String) throw ExampleError("MemoryBlock takes a string of its bytes");
      Value v;
      v.kind = Kind::MemoryBlock;
      v.bytes = a[0].bytes;
      return v;
    }
    if (name == "Array") {
      Value v;
      v.kind = Kind::Array;
      v.items = a;
      return v;
    }
    if (name == "StyledText") {
      Value v;
      v.kind = Kind::StyledText;
      for (const Value& run : a) {
        if (run.kind != Kind::StyleRun) throw ExampleError("StyledText takes StyleRun(...) values");
        v.runs.push_back(run.run);
      }
      return v;
    }
    if (name == "StyleRun") {
      if (a.size() < 4 || a[0].kind != Kind::String || a[1].kind != Kind::String || a[2].kind != Kind::Integer || a[3].kind != Kind::Colour) {
        throw ExampleError("write StyleRun(TEXT, FONT, SIZE, &cRRGGBB[, Bold][, Italic][, Underline])");
      }
      Value v;
      v.kind = Kind::StyleRun;
      v.run.text = a[0].bytes;
      v.run.encoding = a[0].encoding;
      v.run.font = a[1].bytes;
      v.run.fontEncoding = a[1].encoding;
      v.run.size = a[2].integer;
      v.run.colour = static_cast<uint32_t>(a[3].integer);
      for (std::size_t i = 4; i < a.size(); ++i) {
        if (a[i].kind != Kind::StyleFlag) throw ExampleError("after the colour come Bold, Italic, Underline");
        if (a[i].bytes == "Bold") v.run.bold = true;
        if (a[i].bytes == "Italic") v.run.italic = true;
        if (a[i].bytes == "Underline") v.run.underline = true;
      }
      return v;
    }
    return std::nullopt;
  }

  Value Member(const Value& v, const std::string& member, const std::optional<std::vector<Value>>& arguments) {
    const std::vector<Value> a = arguments.value_or(std::vector<Value>{});
    auto noArguments = [&]() {
      if (arguments) throw ExampleError(member + " takes no arguments");
    };
    if (v.kind == Kind::Namespace && v.bytes == "Encodings") {
      noArguments();
      const auto encoding = EncodingByName(member);
      if (!encoding) throw ExampleError("Encodings." + member + " is not one the examples know");
      Value e;
      e.kind = Kind::Encoding;
      e.encoding = *encoding;
      return e;
    }
    if (v.kind == Kind::Namespace && v.bytes == "EndOfLine") {
      noArguments();
      if (member == "Windows") return MakeString("\r\n", memhost::kUTF8);
      if (member == "Macintosh") return MakeString("\r", memhost::kUTF8);
      if (member == "Unix") return MakeString("\n", memhost::kUTF8);
      throw ExampleError("EndOfLine." + member + " is not Windows, Macintosh or Unix");
    }
    if (v.kind == Kind::Namespace && v.bytes == "StringGlobalsZYL") {
      if (member == "Debugging") {
        noArguments();
        const auto property = memhost::FindModuleProperty("Debugging");
        if (!property || property->getter == nullptr) throw ExampleError("StringGlobalsZYL.Debugging is not registered");
        std::vector<zyltool::CallValue> none;
        return MakeBoolean(zyltool::CallWithFfi(property->getter, none, ValueType::Boolean).boolean != 0);
      }
      return CallLibrary(member, std::nullopt, a, std::nullopt);
    }
    if (v.kind == Kind::MemoryBlock && member == "Size") {
      noArguments();
      return MakeInteger(static_cast<int64_t>(v.bytes.size()));
    }
    if (v.kind == Kind::Paragraph) {
      noArguments();
      if (member == "Alignment") return MakeInteger(v.paragraph.alignment);
      if (member == "StartPos") return MakeInteger(v.paragraph.start);
      if (member == "EndPos") return MakeInteger(v.paragraph.end);
      throw ExampleError("a Paragraph has Alignment, StartPos and EndPos");
    }
    if (v.kind == Kind::StyledText) {
      if (!v.variable.empty()) {
        REALobjectStruct* object = vars_.at(v.variable).object.get();
        if (member == "Text") {
          noArguments();
          return MakeString(memhost::StyledTextUTF8(object), memhost::kUTF8);
        }
        if (member == "ParagraphCount") {
          noArguments();
          return MakeInteger(static_cast<int64_t>(memhost::Paragraphs(object).size()));
        }
        if (member == "StyleRunCount") {
          noArguments();
          return MakeInteger(static_cast<int64_t>(memhost::StyleRuns(object).size()));
        }
        if (member == "Paragraph") {
          const auto paragraphs = memhost::Paragraphs(object);
          if (a.size() != 1 || a[0].kind != Kind::Integer || a[0].integer < 0 || static_cast<std::size_t>(a[0].integer) >= paragraphs.size()) {
            throw ExampleError("Paragraph(INDEX) takes the index of an existing paragraph");
          }
          Value p;
          p.kind = Kind::Paragraph;
          p.paragraph = paragraphs[static_cast<std::size_t>(a[0].integer)];
          return p;
        }
      }
      return CallLibrary(member, v, a, std::nullopt);
    }
    throw ExampleError(std::string(KindName(v.kind)) + " has no member " + member + " here");
  }

  // -- calls into the library -------------------------------------------------------------------

  static bool Fits(const Value& v, ValueType type) {
    switch (type) {
      case ValueType::String: return v.kind == Kind::String || v.kind == Kind::Nil;
      case ValueType::MemoryBlock:
      case ValueType::Ptr: return v.kind == Kind::MemoryBlock || v.kind == Kind::Nil;
      case ValueType::Integer: return v.kind == Kind::Integer;
      case ValueType::Double: return v.kind == Kind::Double || v.kind == Kind::Integer;
      case ValueType::Boolean: return v.kind == Kind::Boolean;
      case ValueType::Object: return v.kind == Kind::StyledText;
      default: return false;
    }
  }

  static bool Converts(const Value& v, ValueType type) {
    return (type == ValueType::Ptr && v.kind == Kind::MemoryBlock) || (type == ValueType::Double && v.kind == Kind::Integer);
  }

  static Value DefaultOf(const zyltool::Parameter& parameter) {
    const std::string text = Trim(*parameter.defaultText);
    if (parameter.type == ValueType::Boolean) {
      std::string lower;
      for (char c : text) lower.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
      return MakeBoolean(lower == "true");
    }
    if (parameter.type == ValueType::Integer || parameter.type == ValueType::Double) return MakeInteger(std::stoll(text));
    throw ExampleError("the default \"" + text + "\" is of a kind the examples cannot pass");
  }

  Value CallLibrary(const std::string& name, const std::optional<Value>& receiver, const std::vector<Value>& arguments,
                    const std::optional<Value>& assigned) {
    if (!allowCalls_) throw ExampleError("a result states a value; it calls nothing (" + name + ")");
    std::vector<const Candidate*> named, fitting;
    int fewest = 0;
    for (const Candidate& c : candidates_) {
      if (c.declaration.name == name) named.push_back(&c);
    }
    if (named.empty()) {
      std::string hint;
      for (const Candidate& c : candidates_) {
        if (zyltool::EqualIgnoringCase(c.declaration.name, name)) hint = " (registered as " + c.declaration.name + ")";
      }
      throw ExampleError(name + " is neither registered by the library nor one of the examples' functions" + hint);
    }
    for (const Candidate* c : named) {
      const auto& parameters = c->declaration.parameters;
      const bool extends = !parameters.empty() && parameters.front().extends;
      const bool assigns = !parameters.empty() && parameters.back().assigns;
      if (extends != receiver.has_value() || assigns != assigned.has_value()) continue;
      const std::size_t first = extends ? 1 : 0;
      const std::size_t count = parameters.size() - first - (assigns ? 1 : 0);
      if (arguments.size() > count) continue;
      bool fits = !extends || Fits(*receiver, parameters.front().type);
      if (assigns) fits = fits && Fits(*assigned, parameters.back().type);
      int conversions = 0;
      for (std::size_t i = 0; fits && i < count; ++i) {
        const zyltool::Parameter& p = parameters[first + i];
        fits = i < arguments.size() ? Fits(arguments[i], p.type) : p.defaultText.has_value();
        if (fits && i < arguments.size() && Converts(arguments[i], p.type)) ++conversions;
      }
      if (!fits) continue;
      // As Xojo does, an overload that takes the arguments as they are beats one that converts
      // them (a MemoryBlock to a Ptr, an Integer to a Double).
      if (fitting.empty() || conversions < fewest) {
        fitting.assign(1, c);
        fewest = conversions;
      } else if (conversions == fewest) {
        fitting.push_back(c);
      }
    }
    if (fitting.size() != 1) {
      std::string kinds;
      for (const Value& a : arguments) kinds += (kinds.empty() ? "" : ", ") + std::string(KindName(a.kind));
      std::string list;
      for (const Candidate* c : (fitting.empty() ? named : fitting)) list += "\n    " + c->text;
      throw ExampleError(std::string(fitting.empty() ? "no registered declaration of " : "more than one declaration of ") + name +
                         " takes (" + kinds + "):" + list);
    }
    const Candidate& chosen = *fitting.front();
    result_.declarations.push_back(chosen.text);
    return Invoke(chosen, receiver, arguments, assigned);
  }

  Value Invoke(const Candidate& chosen, const std::optional<Value>& receiver, const std::vector<Value>& arguments,
               const std::optional<Value>& assigned) {
    std::list<memhost::String> strings;  // temporary host values, given back after the call
    std::list<memhost::Object> objects;
    std::vector<zyltool::CallValue> values;
    std::size_t next = 0;
    for (const zyltool::Parameter& p : chosen.declaration.parameters) {
      const Value v = p.extends ? *receiver : p.assigns ? *assigned : next < arguments.size() ? arguments[next++] : DefaultOf(p);
      zyltool::CallValue value;
      value.type = p.type;
      switch (p.type) {
        case ValueType::String:
          if (v.kind == Kind::Nil) break;
          if (!v.variable.empty()) {
            value.pointer = vars_.at(v.variable).string.get();
          } else {
            value.pointer = strings.emplace_back(v.bytes, v.encoding).get();
          }
          break;
        case ValueType::MemoryBlock:
        case ValueType::Ptr: {
          if (v.kind == Kind::Nil) break;
          REALobjectStruct* block = !v.variable.empty() ? vars_.at(v.variable).object.get()
                                                        : objects.emplace_back(memhost::AsObject(memhost::NewMemoryBlock(v.bytes))).get();
          if (p.type == ValueType::MemoryBlock) {
            value.pointer = block;
          } else {
            using GetPtr = void* (*)(REALmemoryBlockStruct*);
            GetPtr getPtr = nullptr;
            void* entry = memhost::Resolve("memoryBlockGetPtr");
            std::memcpy(&getPtr, &entry, sizeof getPtr);
            value.pointer = getPtr(memhost::AsMemoryBlock(block));
          }
          break;
        }
        case ValueType::Integer: value.integer = v.integer; break;
        case ValueType::Double: value.real = v.kind == Kind::Integer ? static_cast<double>(v.integer) : v.real; break;
        case ValueType::Boolean: value.boolean = v.boolean ? 1 : 0; break;
        case ValueType::Object:
          value.pointer = !v.variable.empty() ? vars_.at(v.variable).object.get() : objects.emplace_back(memhost::NewStyledText(v.runs)).get();
          break;
        default: throw ExampleError("the examples cannot pass a " + p.typeName);
      }
      values.push_back(value);
    }
    const zyltool::CallValue out = zyltool::CallWithFfi(chosen.function, values, chosen.declaration.result);
    if (auto exception = memhost::TakeException()) {
      if (!raised_) raised_ = std::move(exception);
    }
    Value result;
    switch (chosen.declaration.result) {
      case ValueType::Void: break;
      case ValueType::String: {
        memhost::String s(static_cast<REALstringStruct*>(out.pointer));
        result = s.get() == nullptr ? NilValue() : MakeString(s.bytes(), s.encoding());
        break;
      }
      case ValueType::MemoryBlock: {
        auto* block = static_cast<REALmemoryBlockStruct*>(out.pointer);
        if (block == nullptr) {
          result.kind = Kind::Nil;
        } else {
          memhost::Object owner(memhost::AsObject(block));
          result.kind = Kind::MemoryBlock;
          result.bytes = memhost::MemoryBlockBytes(block);
        }
        break;
      }
      case ValueType::StringArray: {
        auto* array = static_cast<_REALarrayString*>(out.pointer);
        if (array == nullptr) {
          result.kind = Kind::Nil;
        } else {
          result.kind = Kind::Array;
          for (const memhost::StringValue& element : memhost::ArrayElements(array)) result.items.push_back(MakeString(element.bytes, element.encoding));
          memhost::Release(array);
        }
        break;
      }
      case ValueType::Integer: result = MakeInteger(out.integer); break;
      case ValueType::Double:
        result.kind = Kind::Double;
        result.real = out.real;
        break;
      case ValueType::Boolean: result = MakeBoolean(out.boolean != 0); break;
      default: throw ExampleError("the examples cannot take a " + chosen.declaration.resultTypeName);
    }
    return result;
  }

  std::string file_;
  ExampleResult& result_;
  std::vector<Candidate> candidates_;
  std::map<std::string, Variable> vars_;
  std::vector<Token> tokens_;
  std::size_t pos_ = 0;
  int line_ = 0;
  bool allowCalls_ = true;
  std::optional<memhost::RaisedException> raised_;
};

}  // namespace

std::string RenderString(const std::string& bytes, uint32_t encoding) {
  return Render(MakeString(bytes, encoding));
}

ExampleResult RunExample(const CodeBlock& block, const std::string& file) {
  ExampleResult result;
  std::vector<std::pair<int, std::string>> errors;
  const std::vector<Item> items = ReadItems(block, &errors);
  for (const auto& [line, what] : errors) result.failures.push_back(file + ":" + std::to_string(line) + ": " + what);
  {
    Interpreter interpreter(file, result);
    interpreter.Run(items);
  }
  if (result.checks == 0) {
    result.failures.push_back(file + ":" + std::to_string(block.firstLine) + ": the example checks nothing");
  }
  return result;
}

}  // namespace zyldocs
