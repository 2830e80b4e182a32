SELECT date_trunc(⟦'microseconds' ¦ 'milliseconds' ¦ 'second' ¦ 'minute' ¦ 'hour' ¦ 'day' ¦ 'week' ¦ 'month' ¦ 'quarter' ¦ 'year' ¦ 'decade' ¦ 'century' ¦ 'millennium'⟧, TIMESTAMP ⟦'2012-05-31 10:20:30.123456' ¦ '2000-01-01 00:00:00' ¦ '1969-12-31 23:59:59.999999' ¦ '2001-01-01 12:00:00' ¦ '1899-02-28 01:02:03'⟧)
SELECT extract(⟦epoch ¦ isodow ¦ isoyear ¦ julian ¦ decade ¦ century ¦ millennium ¦ milliseconds ¦ microseconds ¦ year ¦ quarter ¦ month ¦ day ¦ hour ¦ minute ¦ doy⟧ FROM TIMESTAMP ⟦'2012-05-31 10:20:30' ¦ '2000-01-01 00:00:00' ¦ '1969-12-31 23:59:59' ¦ '2001-12-31 12:00:00' ¦ '0005-07-09 00:00:01'⟧)
SELECT extract(⟦epoch ¦ milliseconds ¦ microseconds⟧ FROM TIMESTAMP ⟦'2012-05-31 10:20:30.123456' ¦ '1969-12-31 23:59:59.5'⟧)
SELECT extract(⟦isodow ¦ isoyear ¦ epoch ¦ julian ¦ century ¦ decade⟧ FROM DATE ⟦'2012-01-01' ¦ '2010-01-03' ¦ '2008-12-29' ¦ '2020-12-31' ¦ '1970-01-01' ¦ '1900-12-31'⟧)
SELECT extract(⟦epoch ¦ milliseconds ¦ microseconds⟧ FROM TIME ⟦'10:20:30' ¦ '23:59:59.5'⟧)
SELECT date_part(⟦'epoch' ¦ 'isodow' ¦ 'year' ¦ 'month' ¦ 'doy' ¦ 'century'⟧, DATE ⟦'2012-02-29' ¦ '1999-12-31'⟧)
SELECT make_date(⟦2012 ¦ 2011 ¦ 0⟧, ⟦2 ¦ 13 ¦ 12⟧, ⟦29 ¦ 1 ¦ 31 ¦ 0⟧)
SELECT make_timestamp(2012, ⟦2 ¦ 13⟧, ⟦29 ¦ 30⟧, ⟦0 ¦ 23 ¦ 24⟧, ⟦0 ¦ 59 ¦ 60⟧, ⟦0 ¦ 59.5 ¦ 60 ¦ 23.123456 ¦ -1⟧)
SELECT DATE ⟦'2012-02-28' ¦ '2011-12-31'⟧ + ⟦1 ¦ 366 ¦ -31 ¦ 0⟧, ⟦1 ¦ -1⟧ + DATE '2012-03-01', DATE '2012-03-01' - ⟦1 ¦ -1⟧
SELECT DATE ⟦'2012-03-01' ¦ '1970-01-01'⟧ - DATE ⟦'2012-02-01' ¦ '2000-01-01'⟧
SELECT DATE ⟦'2012-03-01' ¦ '2012-02-30' ¦ 'x'⟧, TIMESTAMP '2012-03-01 10:00:00' > DATE '2012-03-01'
-- differs: weeks of EXTRACT begin with the first of January
SELECT extract(week FROM DATE '2012-01-01')
-- differs: days of the week count from 1 for Sunday
SELECT extract(dow FROM DATE '2012-01-01')
-- differs: seconds are whole
SELECT extract(second FROM TIMESTAMP '2012-05-31 10:20:30.5')
