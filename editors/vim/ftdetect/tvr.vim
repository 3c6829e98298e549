autocmd BufRead,BufNewFile *.tvr setfiletype tvr
