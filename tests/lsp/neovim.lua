-- Drives the language server as a person in Neovim does; run by check_neovim.
local failures = {}

local function check(what, got, wanted)
  if not vim.deep_equal(got, wanted) then
    table.insert(failures, what .. ':\n  got    ' .. vim.inspect(got) .. '\n  wanted ' .. vim.inspect(wanted))
  end
end

local function wait(what, holds)
  if not vim.wait(20000, holds, 20) then table.insert(failures, what .. ': does not happen') end
end

-- The cursor behind a text in the first line that has it.
local function go(text)
  vim.fn.cursor(1, 1)
  assert(vim.fn.search('\\V' .. text, 'ce') > 0, text)
end

local function found()
  return vim.tbl_map(function(one)
    return (one.lnum + 1) .. ' ' .. one.code
  end, vim.diagnostic.get(0))
end

local function replace(from, to)
  go(from)
  local row = vim.fn.line('.') - 1
  local line = vim.api.nvim_buf_get_lines(0, row, row + 1, true)[1]
  local at = line:find(from, 1, true)
  vim.api.nvim_buf_set_text(0, row, at - 1, row, at - 1 + #from, { to })
end

local function group_at(text, offset)
  go(text)
  return vim.fn.synIDattr(vim.fn.synID(vim.fn.line('.'), vim.fn.col('.') + (offset or 0), 1), 'name')
end

-- ---- The file type, its colours
check('file type', vim.bo.filetype, 'tvr')
for text, group in pairs({ ['Parent Cmd:'] = 'tvrKeyword', ['Cmd: n'] = 'tvrName', ['Op: print_if'] = 'tvrOp', ['%s'] = 'tvrSlot',
  ['Props: /'] = 'tvrRecord', ['hostname:0'] = 'tvrSlotNumber', ['# '] = 'tvrComment' }) do
  check('colour of ' .. text, group_at(text), group)
end

-- ---- Findings while typing
wait('the server', function() return next(vim.lsp.buf_get_clients(0)) ~= nil end)
wait('a start', function() local _, client = next(vim.lsp.buf_get_clients(0)); return client.initialized end)
replace('Op: print_if', 'Op: print_i')
check('colour of a wrong op', group_at('Op: print_i'), 'tvrWrong')
wait('a finding', function() return #found() > 0 end)
local refused = vim.diagnostic.get(0)[1]
check('the finding', { refused.code, refused.message:match('did you mean [%w_]*') }, { 'refused', 'did you mean print_if' })
vim.cmd('undo')
wait('no finding', function() return #found() == 0 end)

-- ---- Hover
go('Fmt: host')
vim.lsp.buf.hover()
local shown
wait('a hover', function()
  for _, window in ipairs(vim.api.nvim_list_wins()) do
    if vim.api.nvim_win_get_config(window).relative ~= '' then
      shown = table.concat(vim.api.nvim_buf_get_lines(vim.api.nvim_win_get_buf(window), 0, -1, true), '\n')
    end
  end
  return shown ~= nil
end)
check('what a hover shows', (shown or ''):match('hostname edge%-1'), 'hostname edge-1')

-- ---- Completion
go('Parent Cmd: ')
local row = vim.fn.line('.') - 1
vim.api.nvim_buf_set_lines(0, row, row + 1, true, { 'Parent Cmd: ' })
vim.fn.cursor(row + 1, 13)
local params = vim.lsp.util.make_position_params()
params.position.character = 12
local answer = vim.lsp.buf_request_sync(0, 'textDocument/completion', params, 20000)
local _, got = next(answer)
local items = vim.lsp.util.text_document_completion_list_to_complete_items(got.result, '')
check('completion', vim.tbl_contains(vim.tbl_map(function(item) return item.word end, items), 'system'), true)
vim.cmd('undo')

-- ---- Formatting
local before = vim.api.nvim_buf_get_lines(0, 0, -1, true)
replace('Op: print_if', '   Op:print_if')
vim.api.nvim_buf_set_lines(0, -1, -1, true, { '', '' })
if vim.lsp.buf.format then vim.lsp.buf.format({ timeout_ms = 20000 }) else vim.lsp.buf.formatting_sync(nil, 20000) end
check('formatted', vim.api.nvim_buf_get_lines(0, 0, -1, true), before)

-- ---- Definition, in another file
go('Parent Cmd: ')
vim.fn.cursor(vim.fn.line('.'), 14)
local file = vim.fn.expand('%:t')
vim.cmd('write')
vim.lsp.buf.definition()
wait('a definition', function() return vim.fn.expand('%:t') ~= file end)
check('where it is', { vim.fn.expand('%:t'), vim.fn.getline('.') }, { 'outline.tvr', 'Cmd: system' })

for _, failure in ipairs(failures) do io.stderr:write(failure .. '\n') end
vim.cmd(#failures == 0 and 'qall!' or 'cquit')
