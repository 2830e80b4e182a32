SELECT ⟦'foobarbequebaz' ¦ '' ¦ 'Route 66' ¦ 'a.b' ¦ 'äöü'⟧ ⟦~ ¦ ~* ¦ !~ ¦ !~*⟧ ⟦'bar' ¦ '^$' ¦ '\d+' ¦ '^[a-z]+$' ¦ 'ROUTE' ¦ 'a\.b' ¦ '\w{3}' ¦ '[[:alpha:]]+' ¦ 'o{2}|66' ¦ '(foo|bar)b'⟧
SELECT ⟦'Line one' ¦ 'x'⟧ ~ ⟦'\s' ¦ '^\S+$' ¦ '[[:space:]]' ¦ '[^[:upper:]]' ¦ '\yone\y' ¦ '.' ¦ '$'⟧
SELECT regexp_like(⟦'Rain' ¦ 'snow' ¦ NULL⟧, ⟦'^r' ¦ 'N$' ¦ ''⟧, ⟦'i' ¦ 'c' ¦ '' ¦ 'ic'⟧)
SELECT regexp_count(⟦'banana' ¦ '' ¦ 'ANANAS' ¦ 'a1b22'⟧, ⟦'an' ¦ 'a' ¦ '\d' ¦ 'x*' ¦ '[ab]+'⟧, ⟦1 ¦ 2 ¦ 5 ¦ 20⟧, ⟦'' ¦ 'i'⟧)
SELECT regexp_substr(⟦'foobarbaz' ¦ 'a1b22c333' ¦ ''⟧, ⟦'b..' ¦ '\d+' ¦ 'z$' ¦ '(\d)(\d)' ¦ 'x'⟧, ⟦1 ¦ 3⟧, ⟦1 ¦ 2⟧)
SELECT regexp_substr(⟦'x=1, y=22' ¦ 'none'⟧, '(\w)=(\d+)', 1, ⟦1 ¦ 2 ¦ 3⟧, ⟦'' ¦ 'i'⟧, ⟦0 ¦ 1 ¦ 2⟧)
SELECT regexp_replace(⟦'foobarbaz' ¦ 'a1b22' ¦ '' ¦ 'äbä'⟧, ⟦'b..' ¦ '\d+' ¦ 'ä' ¦ 'x*' ¦ '(.)(.)'⟧, ⟦'X' ¦ '' ¦ '[\&]' ¦ '\2\1' ¦ '\\'⟧, ⟦'' ¦ 'g' ¦ 'gi'⟧)
SELECT regexp_replace(⟦'foobarbaz' ¦ 'a1b22'⟧, ⟦'b' ¦ '\d' ¦ '[ab]'⟧, ⟦'X' ¦ ''⟧, ⟦1 ¦ 3⟧, ⟦0 ¦ 1 ¦ 2⟧, ⟦'' ¦ 'i'⟧)
SELECT substring(⟦'foobarbaz' ¦ 'Route 66' ¦ ''⟧ FROM ⟦'b.r' ¦ 'o(.)b' ¦ '\d+' ¦ 'x' ¦ '(o)(b)'⟧)
SELECT ⟦'abc' ¦ 'a' ¦ '' ¦ 'aab' ¦ '50%'⟧ SIMILAR TO ⟦'abc' ¦ 'a' ¦ '%(b|d)%' ¦ '(b|c)%' ¦ 'a+b?' ¦ '_{2,3}' ¦ '[0-9]+\%' ¦ '%'⟧
SELECT ⟦'abc' ¦ '50%'⟧ NOT SIMILAR TO ⟦'a%' ¦ '[^5]%'⟧ , '50%' SIMILAR TO '50!%' ESCAPE '!'
SELECT 'foobar' ~ ⟦'foo|foobar' ¦ '(foo|foobar)$' ¦ 'fo*?b'⟧, regexp_substr('foobarbar', ⟦'foo|foobar' ¦ 'o.*b' ¦ 'o.*?b' ¦ 'fo+'⟧)
SELECT regexp_replace('abc', ⟦'(' ¦ '[a' ¦ 'a{2' ¦ '*a' ¦ 'a\'⟧, 'x')
SELECT regexp_like('abc', 'b', ⟦'g' ¦ 'z'⟧)
SELECT regexp_substr('abc', 'b', ⟦0 ¦ -1⟧), regexp_count('abc', 'b', 0)
SELECT regexp_replace('abc', 'b', 'x', ⟦0 ¦ -1⟧, 1)
-- differs: there are no back references
SELECT 'aa' ~ '(a)\1'
-- differs: there is no looking around
SELECT 'ab' ~ 'a(?=b)'
SELECT ⟦'%' ¦ 'a' ¦ ']' ¦ '_' ¦ 'a5' ¦ '5'⟧ SIMILAR TO ⟦'[[:alpha:]%]' ¦ '[]%]' ¦ '[^]_]' ¦ 'a\d' ¦ '[[:digit:]_]' ¦ 'a\'⟧
SELECT '5' SIMILAR TO '#d' ESCAPE '#', ⟦'é' ¦ '!' ¦ '٣' ¦ 'Ⅳ' ¦ ' '⟧ ~ ⟦'[[:print:]]' ¦ '[[:punct:]]' ¦ '\d' ¦ '\w' ¦ '[[:graph:]]' ¦ '\s'⟧
SELECT regexp_like(E'a\nb', ⟦'a[^x]b' ¦ 'a.b' ¦ '^b' ¦ 'a$'⟧, ⟦'n' ¦ 's' ¦ ''⟧)
SELECT regexp_replace('aébéc', 'é', '<\&>', 1, ⟦0 ¦ 1 ¦ 2 ¦ 3⟧), regexp_count('日本', ⟦'.' ¦ '本'⟧)
SELECT regexp_replace('abc', 'b', 'X', 1, -1)
SELECT regexp_like(E'a\nb', ⟦'a[^x]b' ¦ 'a.b' ¦ '^b' ¦ 'a$'⟧, ⟦'p' ¦ 'w' ¦ 'm' ¦ 'ns' ¦ 'ic'⟧)
SELECT regexp_replace('a b#c', ⟦'a b' ¦ 'a\ b' ¦ 'b # no more' ¦ '[ #]' ¦ E'b\n\\#'⟧, '_', ⟦'x' ¦ 't' ¦ 'xg'⟧)
SELECT regexp_like('abc', 'B', ⟦'i' ¦ 'c' ¦ 'ci' ¦ 'ic' ¦ 'q' ¦ 'iq'⟧)
