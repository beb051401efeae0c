-- A small office. The messages are due at once; the last one never comes due while the demo runs.

insert into VO_UserInfor (UserName, Mobile, TureName, AccountState) values ('zhangwei', '13800138001', '张伟', '1');
insert into VO_UserInfor (UserName, Mobile, TureName, AccountState) values ('lina', '13800138002', '李娜', '1');
insert into VO_UserInfor (UserName, Mobile, TureName, AccountState) values ('wangfang', '13800138003', '王芳', '1');
insert into VO_UserInfor (UserName, Mobile, TureName, AccountState) values ('chenjie', '', '陈杰', '1');
insert into VO_UserInfor (UserName, Mobile, TureName, AccountState) values ('liuyang', '13800138005', '刘洋', '0');

insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT, MsgType, MsgContent) values ('2026-01-05 08:30:00', 'wangfang', 'zhangwei;lina', '张伟;李娜', '2026-01-04 17:20:00', '0', '请今天下午三点到二楼会议室参加项目例会。');
insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT, MsgType, MsgContent) values ('2026-01-05 08:45:00', 'zhangwei', ';lina;chenjie*wangfang;', '李娜;陈杰;王芳', '2026-01-05 08:40:00', '0', '各位同事：因机房设备检修，本周六上午八点至下午六点办公系统暂停服务，期间邮件、公文流转和考勤登记均不可用。请提前完成审批事项，紧急情况请直接拨打值班电话。检修结束后系统自动恢复，如仍无法登录请与信息中心联系，谢谢配合。');
insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT, MsgType, MsgContent) values ('2026-01-05 09:00:00', 'lina', 'wangfang', '王芳', '2026-01-05 08:55:00', '0', 'Report No. 7 approved.');
insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT, MsgType, MsgContent) values ('2099-12-31 23:59:00', 'lina', 'zhangwei', '张伟', '2026-01-05 08:55:00', '0', '新年快乐！');

insert into SMS_Order (OrderName, OrderCode, DisOrderCode, IsOrder, isPulic, UserList) values ('NBYJ', 'DYNB', 'QXNB', '1', '1', '');
insert into SMS_Order (OrderName, OrderCode, DisOrderCode, IsOrder, isPulic, UserList) values ('WBYJ', 'DYWB', 'QXWB', '1', '0', 'zhangwei;lina');
insert into SMS_Order (OrderName, OrderCode, DisOrderCode, IsOrder, isPulic, UserList) values ('RCGL', 'DYRC', 'QXRC', '1', '1', '');

-- 张伟 has switched the notice of internal mail off; a missing row counts as subscribed.
insert into SMS_IsOrder (UserName, Type, IsOrder) values ('zhangwei', 'NBYJ', '0');
