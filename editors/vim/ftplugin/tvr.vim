" Lines begin at the margin, and a blank inside a line counts: nothing is indented or broken by itself.
if exists('b:did_ftplugin')
  finish
endif
let b:did_ftplugin = 1

setlocal comments=:# commentstring=#\ %s
setlocal noautoindent nosmartindent nocindent indentexpr=
setlocal expandtab shiftwidth=1 softtabstop=0
setlocal textwidth=0 formatoptions-=t fileformat=unix
" Ids have '-' in them.
setlocal iskeyword+=-

let b:undo_ftplugin = 'setlocal comments< commentstring< autoindent< smartindent< cindent< indentexpr< expandtab<'
      \ . ' shiftwidth< softtabstop< textwidth< formatoptions< fileformat< iskeyword<'
