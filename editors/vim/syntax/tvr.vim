" Templates of tovra.
if exists('b:current_syntax')
  finish
endif

syntax case match
syntax match tvrComment /^\s*#.*$/ contains=tvrTodo
syntax keyword tvrTodo TODO FIXME contained

" A line begins with a keyword; what no keyword begins is ignored by the loader.
syntax match tvrIgnored /^\s*[^[:blank:]#].*$/
syntax match tvrDefinition /^\s*Cmd:/ nextgroup=tvrName skipwhite
syntax match tvrKeyword /^\s*\%(Parent Cmd\|Dest\):/ nextgroup=tvrReference skipwhite
syntax match tvrKeyword /^\s*Op:/ nextgroup=tvrOp,tvrWrong skipwhite
syntax match tvrKeyword /^\s*Uri:/ nextgroup=tvrUri skipwhite
syntax match tvrKeyword /^\s*Fmt:/ nextgroup=tvrFormat skipwhite
syntax match tvrKeyword /^\s*\%(Props\|Location\):/ nextgroup=tvrRecord skipwhite
syntax match tvrKeyword /^\s*Cond:/ nextgroup=tvrCondition skipwhite
syntax match tvrKeyword /^\s*ValueMap:/ nextgroup=tvrMap skipwhite
syntax match tvrKeyword /^\s*\%(Query\|Orderby\|LocationScheme\|TvrLangVersion\):/ nextgroup=tvrValue skipwhite
syntax match tvrKeyword /^\s*\%(Newline\|Group\):/ nextgroup=tvrComment skipwhite

syntax match tvrName /\S.*$/ contained
syntax match tvrReference /\S.*$/ contained
" Of two that match, the later one counts.
syntax match tvrWrong /\S.*$/ contained
syntax match tvrOp /\%(no_op\|push_mode\|get_collection\|get_one\|print_if\|iter\)\s*$/ contained
syntax match tvrUri /\S.*$/ contained contains=tvrKey
syntax match tvrFormat /\S.*$/ contained contains=tvrSlot
syntax match tvrRecord /\S\+/ contained contains=tvrKey nextgroup=tvrProperties skipwhite
syntax match tvrProperties /\S.*$/ contained contains=tvrSlotNumber,tvrString
syntax match tvrCondition /\S.*$/ contained contains=tvrVariable,tvrOperator,tvrString,tvrNumber,tvrConstant
syntax match tvrMap /\d\+/ contained nextgroup=tvrValue skipwhite
syntax match tvrValue /\S.*$/ contained

syntax match tvrKey /[$!#]/ contained
syntax match tvrSlot /%s/ contained
syntax match tvrSlotNumber /:\@<=\d\+/ contained
syntax match tvrVariable /\$\k\+/ contained
syntax match tvrOperator /(\@<=\%(and\|or\|not\|eq\|ne\|lt\|le\|gt\|ge\|set\|eval\)\>/ contained
syntax match tvrConstant /\<\%(true\|false\|null\)\>/ contained
syntax match tvrNumber /\<-\?\d\+\%(\.\d\+\)\?\>/ contained
syntax region tvrString start=/"/ skip=/\\"/ end=/"/ oneline contained

highlight default link tvrComment Comment
highlight default link tvrTodo Todo
highlight default link tvrIgnored Error
highlight default link tvrDefinition Structure
highlight default link tvrKeyword Keyword
highlight default link tvrName Function
highlight default link tvrReference Identifier
highlight default link tvrOp Statement
highlight default link tvrWrong Error
highlight default link tvrUri Type
highlight default link tvrRecord Type
highlight default link tvrFormat String
highlight default link tvrSlot Special
highlight default link tvrKey Special
highlight default link tvrSlotNumber Number
highlight default link tvrMap Number
highlight default link tvrVariable Identifier
highlight default link tvrOperator Operator
highlight default link tvrConstant Boolean
highlight default link tvrNumber Number
highlight default link tvrString String

let b:current_syntax = 'tvr'
