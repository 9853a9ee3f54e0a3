// A recursive descent parser. An error inside a statement throws Bail, which the innermost list of
// statements catches; it then skips to the end of that statement.

#include <fenc/Parser.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace Fenc {

namespace {

struct Bail {};

/// Types nest at most this deep: a machine in a machine and reactors in both need far less.
constexpr int deepest = 12;

class Parser {
 public:
   Parser(std::vector<Token> const& tokens, Diagnostics& diagnostics)
      : tokens_(tokens), diagnostics_(diagnostics), file_(std::make_unique<FileSyntax>()) {}

   std::unique_ptr<FileSyntax> run() {
      while (!atEnd()) {
         std::size_t const before = index_;
         try {
            item();
         } catch (Bail const&) {
            recover(before, true);
         }
      }
      return std::move(file_);
   }

 private:
   // Tokens.

   Token const& token(std::size_t ahead = 0) const {
      std::size_t const i = index_ + ahead;
      return i < tokens_.size() ? tokens_[i] : tokens_.back();
   }
   bool atEnd() const { return token().kind == TokenKind::end; }
   void advance() {
      if (!atEnd()) {
         ++index_;
      }
   }
   bool isWord(std::string_view word, std::size_t ahead = 0) const {
      return token(ahead).kind == TokenKind::identifier && token(ahead).text == word;
   }
   bool isMark(std::string_view mark, std::size_t ahead = 0) const {
      return token(ahead).kind == TokenKind::punctuation && token(ahead).text == mark;
   }
   bool acceptWord(std::string_view word) {
      bool const found = isWord(word);
      if (found) {
         advance();
      }
      return found;
   }
   bool acceptMark(std::string_view mark) {
      bool const found = isMark(mark);
      if (found) {
         advance();
      }
      return found;
   }

   std::string shown() const {
      switch (token().kind) {
      case TokenKind::end:
         return "the end of the file";
      case TokenKind::string:
         return "a text";
      case TokenKind::verbatim:
         return "'%{'";
      default:
         return "'" + token().text + "'";
      }
   }
   [[noreturn]] void fail(std::string const& text) {
      diagnostics_.error(token().at, text);
      throw Bail();
   }
   [[noreturn]] void failExpecting(std::string const& what) {
      fail("expected " + what + " before " + shown());
   }
   void expectMark(std::string_view mark) {
      if (!acceptMark(mark)) {
         failExpecting("'" + std::string(mark) + "'");
      }
   }
   void expectWord(std::string_view word) {
      if (!acceptWord(word)) {
         failExpecting("'" + std::string(word) + "'");
      }
   }

   // Skips to the end of the statement that began at token `start`. Always moves on.
   void recover(std::size_t start, bool atTop) {
      file_->isDamaged = true;
      int depth = 0;
      for (std::size_t i = start; i < index_; ++i) {
         depth += isOpening(tokens_[i]) ? 1 : isClosing(tokens_[i]) && depth > 0 ? -1 : 0;
      }
      while (!atEnd()) {
         if (isOpening(token())) {
            ++depth;
         } else if (isClosing(token())) {
            if (depth == 0 && !atTop) {
               return;
            }
            depth = depth > 0 ? depth - 1 : 0;
            if (depth == 0 && isMark("}")) {
               advance();
               acceptMark(";");
               return;
            }
         } else if (isMark(";") && depth <= 0) {
            advance();
            return;
         }
         advance();
      }
   }
   static bool isOpening(Token const& t) {
      return t.kind == TokenKind::punctuation && t.text == "{";
   }
   static bool isClosing(Token const& t) {
      return t.kind == TokenKind::punctuation && t.text == "}";
   }

   // Names.

   NameSyntax name(char const* what) {
      if (token().kind != TokenKind::identifier) {
         failExpecting(what);
      }
      NameSyntax result{token().text, token().at};
      advance();
      return result;
   }

   /// A name that is being declared.
   NameSyntax newName(char const* what) {
      NameSyntax result = name(what);
      if (isReservedWord(result.text)) {
         diagnostics_.error(result.at, "'" + result.text + "' is a reserved word");
      } else if (isFrameworkName(result.text)) {
         diagnostics_.error(result.at, "'" + result.text +
                                          "' is a reserved word: names that begin with an "
                                          "underscore, 'Fen' or 'fwk' belong to the framework");
      }
      return result;
   }
   static bool isFrameworkName(std::string const& word) {
      bool const upperFourth = word.size() > 3 && word[3] >= 'A' && word[3] <= 'Z';
      std::string const start = word.substr(0, 3);
      return word[0] == '_' || word.find("__") != std::string::npos ||
             (upperFourth && (start == "fwk" || start == "Fen"));
   }

   NameSyntax qualifiedName(char const* what) {
      NameSyntax result = name(what);
      while (isMark("::")) {
         advance();
         result.text += "::" + name("a name").text;
      }
      return result;
   }
   PathSyntax path() {
      PathSyntax result;
      result.steps.push_back(name("a name"));
      while (acceptMark(".")) {
         result.steps.push_back(name("a name"));
      }
      return result;
   }
   std::string header() {
      if (token().kind != TokenKind::header && token().kind != TokenKind::string) {
         failExpecting("a header's name");
      }
      std::string result =
         token().kind == TokenKind::header ? token().text : '"' + token().text + '"';
      if (!isPlainPath(result.substr(1, result.size() - 2))) {
         fail("a header's name may hold letters, digits and the characters '/', '.', '_', '-' and "
              "'+' only");
      }
      advance();
      return result;
   }
   /// One schema has one import name, so that it is never read twice.
   static bool isCanonical(std::string const& path) {
      std::string const framed = '/' + path + '/';
      return framed.find("//") == std::string::npos && framed.find("/./") == std::string::npos &&
             framed.find("/../") == std::string::npos;
   }
   /// Names of files reach the generated code, where other characters would end the line.
   static bool isPlainPath(std::string const& path) {
      for (char const c : path) {
         bool const isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
         bool const isDigit = c >= '0' && c <= '9';
         if (!isLetter && !isDigit && std::string_view("/._-+").find(c) == std::string_view::npos) {
            return false;
         }
      }
      return !path.empty();
   }

   // Items of a file.

   void item() {
      if (isMark("}")) {
         fail("'}' without a '{' before it");
      }
      if (acceptWord("import")) {
         if (token().kind != TokenKind::string) {
            failExpecting("a text with the path of a schema");
         }
         if (!isPlainPath(token().text)) {
            fail("the path of a schema may hold letters, digits and the characters '/', '.', '_', "
                 "'-' and '+' only");
         }
         if (!isCanonical(token().text)) {
            fail("the path of a schema is relative, without '.' and '..'");
         }
         file_->imports.push_back({token().text, token().at});
         advance();
         expectMark(";");
      } else if (acceptWord("include")) {
         file_->includes.push_back(header());
         expectMark(";");
      } else if (acceptWord("namespace")) {
         namespace_ = qualifiedName("the name of a namespace").text;
         expectMark(";");
      } else {
         file_->types.push_back(type(false, 0));
      }
   }

   std::unique_ptr<TypeSyntax> type(bool isNested, int depth) {
      auto result = std::make_unique<TypeSyntax>();
      result->documentation = token().documentation;
      result->namespaceName = namespace_;
      result->isExtern = acceptWord("extern");
      if (result->isExtern && isNested) {
         fail("an extern type cannot be declared inside another type");
      }
      result->isLocal = acceptWord("local");
      Token const& word = token();
      if (acceptWord("value")) {
         result->form = TypeForm::value;
      } else if (acceptWord("enum")) {
         result->form = TypeForm::enumeration;
      } else if (acceptWord("entity")) {
         result->form = TypeForm::entity;
      } else if (acceptWord("machine")) {
         result->form = TypeForm::machine;
      } else {
         failExpecting("'import', 'include', 'namespace', 'value', 'enum', 'entity' or 'machine'");
      }
      if (result->isLocal && result->form != TypeForm::entity) {
         diagnostics_.error(word.at, "only an entity can be local");
      }
      if (isNested && (result->form == TypeForm::value || result->form == TypeForm::entity)) {
         diagnostics_.error(word.at, "only a machine or an enum can be declared inside a machine");
      }
      result->name = result->isExtern ? qualifiedName("a type's name") : newName("a type's name");
      if (result->form == TypeForm::value) {
         valueRest(*result);
      } else if (result->form == TypeForm::enumeration) {
         enumerationRest(*result);
      } else {
         classRest(*result, depth);
      }
      return result;
   }

   void externHeader(TypeSyntax& type) {
      if (acceptWord("from")) {
         type.header = header();
      }
   }

   void valueRest(TypeSyntax& result) {
      if (result.isExtern) {
         expectWord("from");
         result.header = header();
         if (acceptMark(";")) {
            return;
         }
      }
      statements([&] {
         AttributeSyntax field = attribute(0);
         if (field.form != AttributeForm::scalar || field.keyed) {
            diagnostics_.error(field.name.at, "a field of a value is a plain value");
         }
         result.body.attributes.push_back(std::move(field));
      });
   }

   void enumerationRest(TypeSyntax& result) {
      if (acceptMark(":")) {
         result.underlying = name("an integer type");
      }
      if (result.isExtern) {
         expectWord("from");
         result.header = header();
         expectMark(";");
         return;
      }
      if (acceptWord("text")) {
         if (token().kind != TokenKind::string) {
            failExpecting("the text of a number without a name");
         }
         result.fallbackText = token().text;
         advance();
      }
      statements([&] {
         EnumeratorSyntax enumerator;
         enumerator.documentation = token().documentation;
         enumerator.name = newName("an enumerator's name");
         expectMark("=");
         enumerator.number = literal();
         if (token().kind == TokenKind::string) {
            enumerator.text = token().text;
            advance();
         }
         expectMark(";");
         result.enumerators.push_back(std::move(enumerator));
      });
   }

   void classRest(TypeSyntax& result, int depth) {
      if (isMark("(")) {
         parameters(result.parameters, depth, true);
      } else if (!result.isExtern) {
         failExpecting("'(' with the constructor's parameters");
      }
      if (acceptMark(":")) {
         result.base = qualifiedName("the name of a base");
         if (acceptMark("(")) {
            do {
               result.baseArguments.push_back(name("the name of a parameter"));
            } while (acceptMark(","));
            expectMark(")");
         }
      }
      while (isWord("factory")) {
         advance();
         result.hasFactory = true;
         if (token().kind == TokenKind::identifier) {
            result.factoryName = newName("a factory's name");
         }
      }
      if (result.isExtern) {
         externHeader(result);
         if (acceptMark(";")) {
            return;
         }
      }
      body(result.body, BodyOf::type, depth + 1);
   }

   void parameters(std::vector<AttributeSyntax>& list, int depth, bool ofConstructor) {
      expectMark("(");
      if (acceptMark(")")) {
         return;
      }
      do {
         AttributeSyntax parameter;
         parameter.documentation = token().documentation;
         parameter.name.at = token().at;
         if (isMark(":", 1)) {
            parameter.name = newName("a parameter's name");
            advance();
         } else if (!ofConstructor) {
            failExpecting("a parameter's name and ':'");
         }
         declaration(parameter, depth);
         list.push_back(std::move(parameter));
      } while (acceptMark(","));
      expectMark(")");
   }

   // Bodies.

   enum class BodyOf { type, reactor };

   /// Reads `{ statement* }`; a broken statement does not end the list.
   template <typename Statement>
   void statements(Statement statement) {
      Position const open = token().at;
      expectMark("{");
      while (!isMark("}")) {
         if (atEnd()) {
            diagnostics_.error(open, "this '{' is never closed");
            throw Bail();
         }
         std::size_t const before = index_;
         try {
            statement();
         } catch (Bail const&) {
            recover(before, false);
         }
      }
      advance();
      acceptMark(";");
   }

   void body(BodySyntax& result, BodyOf of, int depth) {
      if (depth > deepest) {
         fail("types are nested too deep");
      }
      statements([&] { bodyStatement(result, of, depth); });
   }

   void bodyStatement(BodySyntax& result, BodyOf of, int depth) {
      bool const namesAttribute = isMark(":", 1);
      if (token().kind == TokenKind::identifier && !namesAttribute) {
         if (isWord("machine") || isWord("enum") || isWord("entity") || isWord("value") ||
             isWord("extern") || isWord("local")) {
            result.nested.push_back(type(true, depth));
            return;
         }
         if (isWord("operations")) {
            advance();
            statements([&] { operation(result, depth); });
            return;
         }
         if (isWord("extra")) {
            advance();
            if (token().kind != TokenKind::verbatim) {
               failExpecting("'%{'");
            }
            result.extra.push_back(token().text);
            advance();
            acceptMark(";");
            return;
         }
         if (isWord("birth")) {
            result.birthAt = token().at;
            advance();
            expectMark("=>");
            handlers(result.birth);
            expectMark(";");
            return;
         }
         if (of == BodyOf::reactor && isWord("run") && isWord("at", 1)) {
            advance();
            advance();
            expectWord("creation");
            expectMark(";");
            result.runsAtCreation = true;
            return;
         }
         if (isMark("=>", 1) || isWord("immediate", 1)) {
            if (of != BodyOf::reactor) {
               fail("a reaction can stand inside a reactor only");
            }
            reaction(result);
            return;
         }
      }
      result.attributes.push_back(attribute(depth));
   }

   void handlers(std::vector<NameSyntax>& list) {
      if (acceptWord("nothing")) {
         return;
      }
      do {
         list.push_back(name("a handler's name"));
      } while (acceptMark(","));
   }

   void reaction(BodySyntax& result) {
      ReactionSyntax reaction;
      reaction.event = name("a notification");
      reaction.isImmediate = acceptWord("immediate");
      expectMark("=>");
      handlers(reaction.handlers);
      if (acceptWord("when")) {
         expectWord("true");
         reaction.condition = ReactionSyntax::Condition::whenTrue;
      } else if (acceptWord("on")) {
         expectWord("every");
         expectWord("change");
         reaction.condition = ReactionSyntax::Condition::everyChange;
      }
      expectMark(";");
      result.reactions.push_back(std::move(reaction));
   }

   void operation(BodySyntax& result, int depth) {
      OperationSyntax operation;
      operation.documentation = token().documentation;
      operation.isStatic = acceptWord("static");
      operation.isVirtual = acceptWord("virtual");
      operation.name = newName("an operation's name");
      parameters(operation.parameters, depth, false);
      operation.isConst = acceptWord("const");
      if (acceptMark("->")) {
         AttributeSyntax value;
         value.name.at = token().at;
         declaration(value, depth);
         operation.result = std::move(value);
      }
      operation.isOverride = acceptWord("override");
      expectMark(";");
      result.operations.push_back(std::move(operation));
   }

   AttributeSyntax attribute(int depth) {
      AttributeSyntax result;
      result.documentation = token().documentation;
      result.name = newName("an attribute's name");
      expectMark(":");
      declaration(result, depth);
      if (result.body) {
         acceptMark(";");
      } else {
         expectMark(";");
      }
      return result;
   }

   // Declarations: what stands behind the colon of an attribute or a parameter.

   void declaration(AttributeSyntax& result, int depth) {
      if (acceptWord("ref")) {
         result.form = AttributeForm::reference;
         typeAndConst(result);
         typeKey(result);
      } else if (acceptWord("owns")) {
         result.form = AttributeForm::owned;
         typeAndConst(result);
         pathKey(result);
      } else if (acceptWord("record")) {
         result.form = AttributeForm::record;
         typeAndConst(result);
         typeKey(result);
      } else if (acceptWord("back")) {
         result.form = AttributeForm::back;
         typeAndConst(result);
      } else if (acceptWord("param")) {
         result.form = AttributeForm::parameter;
      } else if (acceptWord("through")) {
         result.form = AttributeForm::through;
         result.path = path();
      } else if (acceptWord("reactor")) {
         reactor(result, depth);
      } else if (acceptWord("timer")) {
         timer(result);
      } else {
         result.form = AttributeForm::scalar;
         result.type = qualifiedName("a type");
         typeKey(result);
      }
      modifiers(result);
   }

   void typeAndConst(AttributeSyntax& result) {
      result.type = qualifiedName("a type");
      result.constTarget = acceptWord("const");
   }
   void typeKey(AttributeSyntax& result) {
      result.keyAt = token().at;
      if (acceptMark("[")) {
         result.keyed = true;
         if (isWord("key") && token(1).kind == TokenKind::identifier) {
            advance();
            result.keyIsField = true;
         }
         result.keyAt = token().at;
         result.key.steps.push_back(qualifiedName("the type of the key"));
         expectMark("]");
      }
   }
   void pathKey(AttributeSyntax& result) {
      result.keyAt = token().at;
      if (acceptMark("[")) {
         result.keyed = true;
         result.keyAt = token().at;
         result.key = path();
         expectMark("]");
      }
   }
   void reactor(AttributeSyntax& result, int depth) {
      if (isWord("each") && token(1).kind == TokenKind::identifier) {
         advance();
         result.form = AttributeForm::reactorEach;
         result.path.steps.push_back(name("a collection"));
      } else {
         result.form = AttributeForm::reactor;
         typeAndConst(result);
         pathKey(result);
         if (isWord("from") || isWord("follows")) {
            result.follows = isWord("follows");
            advance();
            result.path = path();
         }
      }
      if (isMark("{")) {
         result.body = std::make_unique<BodySyntax>();
         body(*result.body, BodyOf::reactor, depth + 1);
      }
   }
   void timer(AttributeSyntax& result) {
      result.form = AttributeForm::timer;
      result.isLate = acceptWord("late");
      expectMark("=>");
      result.handler = name("a handler's name");
   }

   void modifiers(AttributeSyntax& result) {
      for (;;) {
         if (acceptWord("key")) {
            result.isKey = true;
         } else if (acceptWord("mutable")) {
            result.isMutable = true;
         } else if (acceptWord("required")) {
            result.isRequired = true;
         } else if (acceptWord("readonly")) {
            result.isReadOnly = true;
         } else if (acceptWord("computed")) {
            result.isComputed = true;
         } else if (acceptWord("constant")) {
            result.isConstant = true;
         } else {
            break;
         }
      }
      if (acceptMark("=")) {
         result.initial = literal();
      }
   }

   LiteralSyntax literal() {
      LiteralSyntax result;
      result.at = token().at;
      std::string const sign = acceptMark("-") ? "-" : "";
      if (token().kind == TokenKind::integer || token().kind == TokenKind::real) {
         result.kind = token().kind == TokenKind::integer ? LiteralSyntax::Kind::integer
                                                          : LiteralSyntax::Kind::real;
      } else if (sign.empty() && token().kind == TokenKind::string) {
         result.kind = LiteralSyntax::Kind::text;
      } else if (sign.empty() && token().kind == TokenKind::identifier) {
         result.kind = LiteralSyntax::Kind::word;
      } else {
         failExpecting("a literal");
      }
      result.text = sign + token().text;
      advance();
      return result;
   }

   std::vector<Token> const& tokens_;
   Diagnostics& diagnostics_;
   std::unique_ptr<FileSyntax> file_;
   std::size_t index_ = 0;
   std::string namespace_;
};

} // namespace

std::unique_ptr<FileSyntax> parse(std::vector<Token> const& tokens, Diagnostics& diagnostics) {
   return Parser(tokens, diagnostics).run();
}

} // namespace Fenc
