-- A pandoc filter for man pages: inline code is bold, and tables with two columns become lists.

function Code(code)
  return pandoc.Strong(pandoc.Str(code.text))
end

local line = 70 -- of the text, in characters
local gap = 3 -- between columns

-- The widest columns are cut to the same width, so that the table fits the line. No word is cut.
local function set_widths(simple)
  local longest, word = {}, {}
  for _, row in ipairs({ simple.headers, table.unpack(simple.rows) }) do
    for column, cell in ipairs(row) do
      local text = pandoc.utils.stringify(cell)
      longest[column] = math.max(longest[column] or 1, utf8.len(text))
      for each in text:gmatch("%S+") do
        word[column] = math.max(word[column] or 1, utf8.len(each))
      end
    end
  end
  local room = line - gap * (#longest - 1)
  local function total(most)
    local sum = 0
    for column, length in ipairs(longest) do
      sum = sum + math.max(math.min(length, most), word[column] or 1)
    end
    return sum
  end
  local most = 1
  while most < line and total(most + 1) <= room do
    most = most + 1
  end
  for column, length in ipairs(longest) do
    simple.widths[column] = math.max(math.min(length, most), word[column] or 1) / line
  end
end

function Table(whole)
  local simple = pandoc.utils.to_simple_table(whole)
  if #simple.widths ~= 2 then
    set_widths(simple)
    return pandoc.utils.from_simple_table(simple)
  end
  local items = {}
  for _, row in ipairs(simple.rows) do
    local term = row[1][1] and row[1][1].content or {}
    items[#items + 1] = { term, { row[2] } }
  end
  return pandoc.DefinitionList(items)
end
