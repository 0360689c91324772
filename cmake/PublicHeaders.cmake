# The headers that are installed, layer by layer.
as_install_headers(plist BinaryReader.h BinaryWriter.h Description.h Nodes.h PropertyList.h Reader.h Result.h
                   XmlReader.h XmlWriter.h)
as_install_headers(platform)
as_install_headers(logging)
as_install_headers(account AccountConstants.h BasicAccount.h CreatorCapabilities.h
                   DeviceLocalAccount.h LiveProperties.h StringList.h)
as_install_headers(store AccountsManager.h RSRuntimeFixMailAccount.h)
as_install_headers(migration GoogleMail.h)
as_install_headers(host AccountNames.h HostConfiguration.h LinuxFiles.h LinuxHost.h LogSinks.h PollEventLoop.h)
