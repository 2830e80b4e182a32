SELECT concat(⟦'a' ¦ NULL ¦ ''⟧, ⟦'b' ¦ NULL⟧, ⟦1 ¦ 2.25 ¦ DATE '2012-01-31'⟧)
SELECT concat_ws(⟦', ' ¦ '' ¦ NULL⟧, ⟦'a' ¦ NULL⟧, ⟦'b' ¦ NULL ¦ ''⟧, ⟦7 ¦ NULL⟧)
SELECT lpad(⟦'abc' ¦ '' ¦ 'äöüß' ¦ NULL⟧, ⟦0 ¦ 2 ¦ 5 ¦ 9 ¦ -1⟧, ⟦'x' ¦ 'xy' ¦ '' ¦ 'é'⟧)
SELECT rpad(⟦'abc' ¦ '' ¦ 'äöüß' ¦ NULL⟧, ⟦0 ¦ 2 ¦ 5 ¦ 9 ¦ -1⟧, ⟦'x' ¦ 'xy' ¦ '' ¦ 'é'⟧)
SELECT lpad(⟦'abc' ¦ '' ¦ 'äö'⟧, ⟦0 ¦ 2 ¦ 5⟧) || '|', rpad(⟦'abc' ¦ 'äö'⟧, ⟦0 ¦ 1 ¦ 5⟧) || '|'
SELECT split_part(⟦'a,b,c' ¦ '' ¦ 'abc' ¦ ',,' ¦ 'a,,b'⟧, ⟦',' ¦ ',,' ¦ 'b' ¦ ''⟧, ⟦1 ¦ 2 ¦ 3 ¦ 4 ¦ -1 ¦ -2 ¦ -4 ¦ 0⟧)
SELECT strpos(⟦'banana' ¦ '' ¦ 'äbä'⟧, ⟦'an' ¦ '' ¦ 'x' ¦ 'ä' ¦ 'banana' ¦ NULL⟧)
SELECT starts_with(⟦'birdstrike' ¦ '' ¦ 'äb'⟧, ⟦'bird' ¦ '' ¦ 'Bird' ¦ 'ä' ¦ 'birdstrikes' ¦ NULL⟧)
SELECT initcap(⟦'hello WORLD' ¦ 'o''neil-smith 2nd x_y' ¦ '' ¦ 'élan ÉTÉ' ¦ '1st place' ¦ NULL⟧)
SELECT reverse(⟦'abc' ¦ '' ¦ 'äbc' ¦ 'a' ¦ NULL⟧)
SELECT translate(⟦'12345' ¦ '' ¦ 'banana' ¦ 'äöü'⟧, ⟦'143' ¦ '' ¦ 'an' ¦ 'äö' ¦ 'aa'⟧, ⟦'ax' ¦ '' ¦ 'xyz' ¦ 'é'⟧)
SELECT quote_literal(⟦'abc' ¦ 'it''s' ¦ '' ¦ 'a\b' ¦ NULL⟧)
SELECT quote_ident(⟦'abc' ¦ 'my table' ¦ 'Abc' ¦ '' ¦ 'a"b' ¦ '_x1' ¦ '1x' ¦ 'ä'⟧)
SELECT md5(⟦'' ¦ 'abc' ¦ 'äöü' ¦ 'The quick brown fox' ¦ NULL⟧)
SELECT to_hex(⟦0 ¦ 1 ¦ 255 ¦ 65536 ¦ 2147483647 ¦ -1 ¦ -256⟧)
SELECT format(⟦'%s' ¦ '%I and %L' ¦ '%2$s %1$s' ¦ '%%' ¦ 'x' ¦ '%5s|%-5s|' ¦ '%s %s %s'⟧, ⟦'a b' ¦ 'it''s' ¦ 'x'⟧, ⟦'two' ¦ NULL⟧)
SELECT format(⟦'%d' ¦ '%' ¦ '%s%s' ¦ '%3$s'⟧, 'a')
SELECT ⟦'Rain' ¦ 'rain' ¦ '' ¦ 'ÄPFEL'⟧ ILIKE ⟦'r%' ¦ 'RAI_' ¦ '%' ¦ 'äpf%' ¦ '' ¦ 'r\%'⟧
SELECT ⟦'Rain' ¦ 'SNOW'⟧ NOT ILIKE ⟦'r%' ¦ '%OW' ¦ NULL⟧
SELECT 'a' || ⟦'b' ¦ 1 ¦ 2.25⟧
SELECT left(⟦'abc' ¦ 'äöü'⟧, ⟦1 ¦ 2 ¦ 9⟧), right(⟦'abc' ¦ 'äöü'⟧, ⟦1 ¦ 2 ¦ 9⟧)
SELECT upper(⟦'abc' ¦ 'äöé' ¦ ''⟧), lower(⟦'ABC' ¦ 'ÄÖÉ' ¦ ''⟧)
SELECT char_length(⟦'abc' ¦ 'äöü' ¦ ''⟧), replace(⟦'banana' ¦ 'xx'⟧, ⟦'an' ¦ 'x'⟧, ⟦'' ¦ 'yy' ¦ 'é'⟧)
SELECT substring(⟦'abcdef' ¦ 'äöüß'⟧ FROM ⟦1 ¦ 2 ¦ 4 ¦ 0 ¦ -1⟧ FOR ⟦1 ¦ 2 ¦ 9⟧)
SELECT overlay(⟦'abcdef' ¦ 'äöüß'⟧ PLACING ⟦'XY' ¦ ''⟧ FROM ⟦1 ¦ 3⟧ FOR ⟦1 ¦ 2⟧)
SELECT position(⟦'nan' ¦ 'x' ¦ 'b'⟧ IN ⟦'banana' ¦ 'xx'⟧), trim(⟦BOTH ¦ LEADING ¦ TRAILING⟧ 'x' FROM ⟦'xxaxx' ¦ 'a' ¦ 'xx'⟧)
-- differs: NULL is nothing where texts are put together
SELECT 'a' || NULL
-- differs: decimals have no zeros at their end as texts, and truth values are true and false
SELECT concat('a', ⟦2.50 ¦ true⟧), 'a' || ⟦2.50 ¦ true⟧
-- differs: POSITION finds no empty text
SELECT position('' IN 'abc')
-- differs: names that are keywords are not quoted
SELECT quote_ident('select')
-- differs: LEFT and RIGHT take no number below 1
SELECT left('abc', ⟦0 ¦ -1⟧), right('abc', ⟦0 ¦ -1⟧)
-- differs: a length below 1 is an error
SELECT substring('abc' FROM 1 FOR 0)
-- differs: SHA256 gives digits, and takes no bytes
SELECT sha256('abc')
SELECT format(⟦'%*s|' ¦ '%-*s|' ¦ '%*1$s|' ¦ '%2$*1$s|' ¦ '%-*1$s|%s' ¦ '%10s|' ¦ '%-10s|' ¦ '%*s%*s'⟧, ⟦7 ¦ -7 ¦ 0 ¦ NULL⟧, 'ab', 3, 'c')
SELECT format('%*s', 7)
-- differs: it is the format that does not suit the values
SELECT format('%*s', 'x', 'y')
