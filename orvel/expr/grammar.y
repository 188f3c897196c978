/* The expression language: one expression per text, reduced straight into
   node records by the ParserContext. Built with byacc -p expr_ into the build
   directory; see orvel/CMakeLists.txt. */
%{
#include "orvel/expr/parser_context_internal.h"

using namespace orvel;

#define YYSTYPE orvel::parser_type
#define YYINITSTACKSIZE orvel::kParserInitialStackDepth
#define YYMAXDEPTH orvel::kParserMaxStackDepth
%}

%pure-parser
%parse-param { orvel::ParserContext* ctx }
%lex-param { orvel::ParserContext* ctx }

/* Declared first and in this order: the lexer's token codes 257..266. */
%token INT64 FLOAT IDENTIFIER STRING EQ NE LE GE OR AND

%right '?' ':'
%left OR
%left AND
%left EQ NE
%left '<' '>' LE GE
%left '+' '-'
%left '*' '/' '%'
%right '!' PREFIX

%start input

%%

input
    : /* empty */                  { }
    | expr                         { ctx->root = $1.node; }
    ;

expr
    : expr '+' expr                { ctx->newExp2($$.node, kAdd, $1.node, $3.node); }
    | expr '-' expr                { ctx->newExp2($$.node, kSubtract, $1.node, $3.node); }
    | expr '*' expr                { ctx->newExp2($$.node, kMultiply, $1.node, $3.node); }
    | expr '/' expr                { ctx->newExp2($$.node, kDivide, $1.node, $3.node); }
    | expr '%' expr                { ctx->newExp2($$.node, kModulo, $1.node, $3.node); }
    | expr EQ expr                 { ctx->newExp2($$.node, kEqual, $1.node, $3.node); }
    | expr NE expr                 { ctx->newExp2($$.node, kNotEqual, $1.node, $3.node); }
    | expr '<' expr                { ctx->newExp2($$.node, kLess, $1.node, $3.node); }
    | expr '>' expr                { ctx->newExp2($$.node, kGreater, $1.node, $3.node); }
    | expr LE expr                 { ctx->newExp2($$.node, kLessEqual, $1.node, $3.node); }
    | expr GE expr                 { ctx->newExp2($$.node, kGreaterEqual, $1.node, $3.node); }
    | expr OR expr                 { ctx->newExp2($$.node, kLogicalOr, $1.node, $3.node); }
    | expr AND expr                { ctx->newExp2($$.node, kLogicalAnd, $1.node, $3.node); }
    | expr '?' expr ':' expr       { ctx->newExp3($$.node, kConditional, $1.node, $3.node, $5.node); }
    | '!' expr %prec PREFIX        { ctx->newExp1($$.node, kLogicalNot, $2.node); }
    | '-' expr %prec PREFIX        { ctx->newExp1($$.node, kNegate, $2.node); }
    | '+' expr %prec PREFIX        { $$ = $2; }
    | '(' expr ')'                 { $$ = $2; }
    | IDENTIFIER '(' ')'           { ctx->newFunc0($$.node, $1.ident); }
    | IDENTIFIER '(' expr ')'      { ctx->newFunc1($$.node, $1.ident, $3.node); }
    | IDENTIFIER '(' expr ',' expr ')'
                                   { ctx->newFunc2($$.node, $1.ident, $3.node, $5.node); }
    | IDENTIFIER '(' expr ',' expr ',' expr ')'
                                   { ctx->newFunc3($$.node, $1.ident, $3.node, $5.node, $7.node); }
    | IDENTIFIER '(' expr ',' expr ',' expr ',' expr ')'
                                   { ctx->newFunc4($$.node, $1.ident, $3.node, $5.node, $7.node, $9.node); }
    | IDENTIFIER                   { ctx->newFunc0($$.node, $1.ident); }
    | literal
    ;

literal
    : INT64                        { ctx->newInt64($$.node, $1.intValue); }
    | FLOAT                        { ctx->newFloat($$.node, $1.floatValue); }
    | STRING                       { ctx->newString($$.node, $1.text); }
    | '{' INT64 '}'                { ctx->newProperty($$.node, (unsigned short)$2.intValue); }
    ;

%%

/* Everything below lands ahead of the generated driver, so the macros here
   shape it: the stacks live on the library's allocator, token codes beyond
   the grammar's become its undefined token before any table look-up (the
   driver adds the code to a table base in int), and the driver itself is an
   internal function behind expr_parse. The driver reduces without reading a
   token only in states whose one action is that reduction, so a failed parse
   has written exactly the nodes reduced before the bad token. */

#include <stdlib.h>
#include <string.h>

#include "orvel/core/memory.h"

/* The token names are macros of the generator's here; kGrammarTokens holds
   the library's codes, read before the macros existed. */
static_assert(orvel::kGrammarTokens[0] == INT64 && orvel::kGrammarTokens[1] == FLOAT &&
                  orvel::kGrammarTokens[2] == IDENTIFIER && orvel::kGrammarTokens[3] == STRING &&
                  orvel::kGrammarTokens[4] == EQ && orvel::kGrammarTokens[5] == NE && orvel::kGrammarTokens[6] == LE &&
                  orvel::kGrammarTokens[7] == GE && orvel::kGrammarTokens[8] == OR && orvel::kGrammarTokens[9] == AND,
              "the grammar's token codes are the lexer's");

#define realloc(block, size) orvel::OvRealloc(block, size)
#define free(block) orvel::OvFree(block)

static int TranslateToken(int code) { return YYTRANSLATE(code); }
#undef YYLEX
#define YYLEX TranslateToken(yylex(&yylval, ctx))

/* The driver's error count is a local of its own; expr_nerrs is kept here. */
#undef yynerrs
#define yynerrs driverErrorCount

/* Results of the driver: 0 accepted, 1 syntax error, 2 stack overflow. */
static constexpr int kDriverAccept = 0;
static constexpr int kDriverSyntaxError = 1;

static int ParseTokens(orvel::ParserContext* ctx);

int expr_parse(orvel::ParserContext* ctx) {
  expr_nerrs = 0;
  if (!ctx) return 1;
  const int result = ParseTokens(ctx);
  if (result == kDriverSyntaxError) ++expr_nerrs;
  return result == kDriverAccept ? 0 : 1;
}

#undef yyparse
#define yyparse ParseTokens
